#pragma once

#include "listing/desktop_scan.h"
#include "listing/row_selection.h"
#include "platform/clock.h"
#include "platform/display.h"
#include "platform/file_promises.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>

class QScrollArea;
class QWidget;

namespace verrabel {

class ActivityToken;
class DirectoryWatcher;
class DropView;
class FilePromise;
class Label;
class RepeatingTimer;
class RowThumbnails;
class ShelfPanel;
class WorkQueue;
struct Platform;

/// The hub of the shelf: it owns the panel and every view in it, the flags that the hover loop
/// and the drags share, the work queues, the Desktop watcher, the hover timer and the process
/// activity. Everything here runs on the main thread; background work reads only `desktop`.
///
/// Its operations are defined next to the subsystem they belong to: placement and the hover
/// loop in shelf/, the scan and rendering in listing/, import and reception in receiving/.
class ShelfController final : public QObject {
    Q_OBJECT
public:
    explicit ShelfController(const Platform& platform);
    ~ShelfController() override;
    ShelfController(const ShelfController&) = delete;
    ShelfController& operator=(const ShelfController&) = delete;

    /// Opens the Desktop folder in the file manager; a failure is not reported.
    void openDesktop();
    /// Chooses the screen again and lays the panel out on it.
    void reposition();
    /// Expands the shelf for a drag entering it.
    void expand();
    /// Shows the shelf expanded for at least two seconds.
    void showShelf();
    /// Starts a rescan of the Desktop folder, unless one is in flight.
    void refresh();
    /// Copies dropped items into the Desktop in the background and reports how it went.
    void importFiles(const QList<QUrl>& urls);
    /// Copies the files that a sandboxed application hands over by a document-portal key, once
    /// the key is read (called with it): the files the portal gives for it, else (no key, or
    /// the portal has none of them) the URLs that came with it where they can be read. The
    /// shelf is busy from now on.
    [[nodiscard]] TransferKeyRead importTransferredOnceRead(const QList<QUrl>& urls);
    /// Receives promised files, each promise through a temporary folder of its own.
    void receive(const QList<std::shared_ptr<FilePromise>>& receivers);
    /// A click on the row of the item `name` with these keys held: it alone is chosen, or
    /// with Ctrl added or taken out, or with Shift the range to it from the last row clicked.
    void clickRow(const QByteArray& name, Qt::KeyboardModifiers keys);
    /// No row is chosen any more.
    void clearSelection();
    /// What a drag from the row of `name` (at `url`), or its menu, takes: every chosen item in
    /// the list's order when that row is chosen, else that item alone.
    [[nodiscard]] QList<QUrl> itemsFor(const QByteArray& name, const QUrl& url) const;

private:
    void buildViewTree();
    void layout();
    void tick();
    void expandIfCollapsed();
    /// Only the strip along the top edge of `on` opens the shelf: the rest of the zone is a
    /// desktop's bar, or cannot be watched without taking the clicks of the windows below.
    [[nodiscard]] bool watchesTopEdgeOnly(const ScreenInfo& on) const;
    /// A fullscreen window is up on `on` (a video, a game), the active one where that is all the
    /// platform tells: its edge does not open the shelf and takes nothing from that window.
    [[nodiscard]] bool edgeStandsAside(const ScreenInfo& on) const;
    /// The screen whose top centre, open to the pointer, holds `point`.
    [[nodiscard]] std::optional<ScreenInfo> screenOpenedAt(const QPointF& point) const;
    /// The top centres that open the shelf now.
    [[nodiscard]] QList<QRectF> hotZones() const;
    void fullscreenChanged();
    /// The background half of `importTransferredOnceRead()`.
    void copyTransferred(const std::optional<QString>& key, const QList<QUrl>& urls);
    void startWatcher();
    void completeRefresh(const std::shared_ptr<const ScanResult>& result);
    void render(const std::shared_ptr<const ScanResult>& result);
    void addEmpty(const QString& text, QWidget* view);
    void showListView(QWidget* view);
    [[nodiscard]] const DesktopListing* shownListing() const;
    /// Redraws the rows on display after the selection changed.
    void showSelection();
    void finish(const QStringList& errors, qsizetype total);

    const Platform& m_platform;

public:
    // The controller's state, in the order it is initialised. Views and subsystems read and
    // write it directly; all of it belongs to the main thread.

    /// The user's Desktop folder, as the system names it; empty when the system has none.
    const QString desktop;
    const std::unique_ptr<ShelfPanel> panel;
    /// The panel's content view: background and drop target. Owned by the panel.
    DropView* const root;
    /// The 420 × 350 container of all the shelf's controls, inside `root`.
    QWidget* const content;
    /// The status line at the bottom left: hints, progress and results.
    Label* const message;
    /// The subtitle under the title: item count or failure.
    Label* const count;
    /// Holds the list of rows.
    QScrollArea* const scroll;
    /// The screen the shelf lives on, or comes down on when shown without a pointer to follow;
    /// none while there are no screens.
    std::optional<ScreenInfo> screen;
    /// Every screen: the top centre of each brings the shelf down there.
    QList<ScreenInfo> screens;
    /// The panel is on screen.
    bool expanded = false;
    /// A row is being dragged out: holds the shelf open and suspends rescans.
    bool exporting = false;
    /// An acceptable drag is over the shelf, or its drop is being taken.
    bool receiving = false;
    /// Imports and promise receptions under way; never below 0.
    std::int64_t busy = 0;
    /// When the pointer was first seen outside the shelf, or a moment ahead that keeps it open.
    std::optional<Date> outsideSince;
    /// When the pointer was last at the top edge, while it has been seen since only on its way
    /// down into the shelf.
    std::optional<Date> edgeSeenAt;
    std::unique_ptr<RepeatingTimer> timer;
    std::unique_ptr<ActivityToken> hoverActivity;
    /// A Desktop scan is queued or running.
    bool refreshInFlight = false;
    const std::unique_ptr<WorkQueue> scanQueue;
    std::unique_ptr<DirectoryWatcher> watcher;
    /// The listing signature (a digest) of the rows on display.
    QString rowsSignature;
    const std::unique_ptr<WorkQueue> fileQueue;
    const std::unique_ptr<WorkQueue> promiseQueue;
    /// The rows' thumbnails, with their own queue.
    const std::unique_ptr<RowThumbnails> thumbnails;
    /// When the last scan was started.
    Date lastRefresh = kDistantPast;
    /// The chosen rows' items; none once the shelf collapses.
    RowSelection selection;
};

} // namespace verrabel
