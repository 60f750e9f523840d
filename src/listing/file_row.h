#pragma once

#include <QIcon>
#include <QPixmap>
#include <QPointer>
#include <QUrl>
#include <QWidget>

#include <memory>
#include <optional>

namespace verrabel {

class FileDrags;
class RowThumbnails;
class ShelfController;
class Workspace;
struct DesktopEntry;
struct Platform;

/// One Desktop item in the list: its icon, name and size (or "文件夹"), and the item's handle.
/// Hovering highlights it, a click chooses it (the controller keeps which rows are chosen), a
/// double-click opens the item, dragging hands a copy of it, or of every chosen item when it is
/// chosen, to another application, and the context menu shows them in the file manager. The row
/// takes every click itself; it paints its icon and labels rather than holding child views.
class FileRow final : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 52;

    /// Without `thumbnails` the row keeps the theme's icon.
    FileRow(const DesktopEntry& entry, QUrl file, ShelfController* controller, int width,
            const Platform& platform, RowThumbnails* thumbnails = nullptr,
            QWidget* parent = nullptr);

    /// What the row says under the name: the size, or "文件夹".
    [[nodiscard]] static QString detailOf(const DesktopEntry& entry);

    /// The Desktop item the row shows.
    const QUrl url;
    /// The controller whose `exporting` flag a drag sets; never kept alive by the row.
    QPointer<ShelfController> owner;

    [[nodiscard]] QString name() const { return m_name; }
    [[nodiscard]] QString detail() const { return m_detail; }
    [[nodiscard]] bool isHovered() const { return m_hovered; }
    [[nodiscard]] bool isChosen() const;
    /// The item's thumbnail, once it has come; null until then or without one.
    [[nodiscard]] QPixmap thumbnail() const { return m_thumbnail; }

    // Where the row draws its parts, in its own top-left coordinates.
    [[nodiscard]] static QRect iconFrame();
    [[nodiscard]] QRect nameFrame() const;
    [[nodiscard]] QRect detailFrame() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void dragOut();
    /// What a drag or the menu takes: every chosen item when this row is chosen, else its own.
    [[nodiscard]] QList<QUrl> items() const;
    /// Asks for the thumbnail the first time the row is painted: rows only made ready near the
    /// visible band ask for nothing.
    void askForThumbnail();

    Workspace& m_workspace;
    FileDrags& m_drags;
    /// The item's name as it is on disk, by which the controller knows it chosen.
    QByteArray m_fileName;
    QString m_name;
    QString m_detail;
    QIcon m_icon;
    RowThumbnails* m_thumbnails;
    double m_modified;
    bool m_isFile;
    bool m_mayHaveThumbnail;
    std::shared_ptr<void> m_thumbnailWanted;
    QPixmap m_thumbnail;
    /// Where the press that a drag would start from happened, in window coordinates.
    std::optional<QPointF> m_down;
    /// A press on a chosen row chooses it alone only once it is let go of without a drag: a
    /// drag takes every chosen item.
    bool m_chooseOnRelease = false;
    bool m_hovered = false;
};

} // namespace verrabel
