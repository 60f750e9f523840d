#include "shelf_controller.h"

#include "controls.h"
#include "drop_view.h"
#include "frames.h"
#include "listing/row_thumbnails.h"
#include "notch_geometry.h"
#include "platform/directory_watcher.h"
#include "platform/folders.h"
#include "platform/platform.h"
#include "platform/process_activity.h"
#include "platform/repeating_timer.h"
#include "platform/work_queue.h"
#include "platform/workspace.h"
#include "receiving/file_store.h"
#include "shelf_panel.h"

#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QUrl>

namespace verrabel {

namespace {

constexpr int kContentHeight = static_cast<int>(notch::kPanelHeight);
constexpr double kHoverInterval = 1.0 / 60.0;
// The activity's kind: work the user asked for, so timers stay prompt; idle sleep still allowed.
constexpr std::uint64_t kHoverActivityOptions = 0x00EFFFFF;

} // namespace

ShelfController::ShelfController(const Platform& platform)
    : m_platform(platform)
    , desktop(platform.folders.desktop())
    , panel(std::make_unique<ShelfPanel>(platform.screens, platform.compositor, platform.floating))
    , root(new DropView(platform.promises, panel.get()))
    , content(new QWidget(root))
    , message(new Label(QStringLiteral("拖入存到桌面 · 拖出到其他应用"), content))
    , count(new Label(QString(), content))
    , scroll(new QScrollArea(content))
    , scanQueue(
          platform.queues.makeSerialQueue(QStringLiteral("Verrabel.scan"), QueuePriority::Utility))
    , fileQueue(platform.queues.makeSerialQueue(QStringLiteral("Verrabel.files"),
                                                QueuePriority::UserInitiated))
    , promiseQueue(platform.queues.makeSerialQueue(QString(), QueuePriority::Default))
    , thumbnails(std::make_unique<RowThumbnails>(platform.queues, platform.folders.thumbnails())) {
    content->setGeometry(0, 0, static_cast<int>(notch::kPanelWidth), kContentHeight);
    scroll->setGeometry(frameInParent(14, 49, 392, 230, kContentHeight));

    // The panel configures itself as a floating, never-focused window (ShelfPanel).
    root->owner = this;
    panel->setContentView(root);
    buildViewTree();
    connect(&platform.screens, &Screens::changed, this, &ShelfController::reposition);
    connect(&platform.fullscreen, &FullscreenWatch::changed, this,
            &ShelfController::fullscreenChanged);
    reposition();
    refresh();
    startWatcher();
    hoverActivity = platform.activity.begin(
        kHoverActivityOptions,
        QStringLiteral("Respond immediately when the pointer reaches the notch"));
    timer = platform.timers.makeRepeatingTimer(kHoverInterval, [weak = QPointer(this)] {
        if (weak) {
            weak->tick();
        }
    });
    timer->schedule();
    // Copies that an earlier run left half-made in the Desktop, before the first import.
    fileQueue->submit([folder = desktop] { FileStore::removeStaleTemporaries(folder); });
}

// The queues go first (they are declared last): work still running finishes before the views go.
ShelfController::~ShelfController() = default;

void ShelfController::buildViewTree() {
    auto* icon =
        new SymbolView(QStringLiteral(":/symbols/desktopcomputer.svg"), Tone::Secondary, content);
    icon->setGeometry(frameInParent(23, 299, 26, 28, kContentHeight));
    icon->setAccessibleName(QStringLiteral("桌面"));

    auto* title = new Label(QStringLiteral("桌面"), content);
    title->setGeometry(frameInParent(61, 311, 240, 23, kContentHeight));
    title->setPixelFont(17, QFont::DemiBold);

    count->setGeometry(frameInParent(61, 293, 290, 16, kContentHeight));
    count->setPixelFont(11);
    count->setTone(Tone::Secondary);

    auto* upperSeparator = new Separator(content);
    upperSeparator->setGeometry(frameInParent(22, 283, 376, 1, kContentHeight));
    auto* lowerSeparator = new Separator(content);
    lowerSeparator->setGeometry(frameInParent(22, 47, 376, 1, kContentHeight));

    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setAutoFillBackground(false);
    scroll->viewport()->setAutoFillBackground(false);
    scroll->setFocusPolicy(Qt::NoFocus);
    // A slim scroller over the rows rather than the style's arrows and trough.
    scroll->verticalScrollBar()->setStyleSheet(QStringLiteral(
        "QScrollBar:vertical { background: transparent; width: 10px; margin: 2px 1px; }"
        "QScrollBar::handle:vertical { background: rgba(128, 128, 128, 110); border-radius: 3px;"
        " min-height: 24px; margin: 0 2px; }"
        "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
        "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: none; }"));

    message->setGeometry(frameInParent(22, 18, 278, 18, kContentHeight));
    message->setPixelFont(11);
    message->setTone(Tone::Secondary);
    message->setElideMode(Qt::ElideRight);

    auto* open = new SymbolButton(QStringLiteral("打开"),
                                  QStringLiteral(":/symbols/arrow-up-forward.svg"), content);
    open->setGeometry(frameInParent(320, 13, 78, 28, kContentHeight));
    QFont buttonFont = open->font();
    buttonFont.setPixelSize(11);
    buttonFont.setWeight(QFont::Medium);
    open->setFont(buttonFont);
    open->setIconSize(QSize(10, 10));
    open->setToolTip(QStringLiteral("在 Finder 中打开桌面"));
    open->setFocusPolicy(Qt::NoFocus);
    connect(open, &QPushButton::clicked, this, &ShelfController::openDesktop);

    // Stack the controls in the order of the design, later ones above earlier ones.
    for (QWidget* view : std::initializer_list<QWidget*>{icon, title, count, upperSeparator,
                                                         lowerSeparator, scroll, message, open}) {
        view->raise();
    }
}

void ShelfController::openDesktop() {
    if (!desktop.isEmpty()) {
        m_platform.workspace.openUrl(QUrl::fromLocalFile(desktop));
    }
}

} // namespace verrabel
