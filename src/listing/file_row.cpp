#include "file_row.h"

#include "desktop_scan.h"
#include "platform/file_drags.h"
#include "platform/file_icons.h"
#include "platform/platform.h"
#include "platform/workspace.h"
#include "row_thumbnails.h"
#include "shelf/colors.h"
#include "shelf/controls.h"
#include "shelf/frames.h"
#include "shelf/shelf_controller.h"

#include <QContextMenuEvent>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <utility>

namespace verrabel {

namespace {

constexpr double kDragThreshold = 4.0;
constexpr double kHighlightInset = 2;
constexpr double kHighlightRadius = 10;
constexpr double kHighlightAlpha = 0.065;
constexpr double kChosenHoveredAlpha = 0.85;
constexpr double kChosenDetailAlpha = 0.8;

FileKind kindOf(const DesktopEntry& entry) {
    if (entry.isDirectory) {
        return FileKind::Directory;
    }
    return entry.isSpecial ? FileKind::Special : FileKind::File;
}

QFont pixelFont(QFont font, int pixelSize, QFont::Weight weight) {
    font.setPixelSize(pixelSize);
    font.setWeight(weight);
    return font;
}

} // namespace

QString FileRow::detailOf(const DesktopEntry& entry) {
    if (entry.isDirectory) {
        return QStringLiteral("文件夹");
    }
    // Decimal units, as file browsers count.
    return QLocale().formattedDataSize(entry.size, 1, QLocale::DataSizeSIFormat);
}

FileRow::FileRow(const DesktopEntry& entry, QUrl file, ShelfController* controller, int width,
                 const Platform& platform, RowThumbnails* thumbnails, QWidget* parent)
    : QWidget(parent)
    , url(std::move(file))
    , owner(controller)
    , m_workspace(platform.workspace)
    , m_drags(platform.drags)
    , m_fileName(entry.fileName)
    , m_name(entry.name())
    , m_detail(detailOf(entry))
    , m_icon(platform.icons.iconFor(m_name, kindOf(entry)))
    , m_thumbnails(thumbnails)
    , m_modified(entry.modified)
    , m_isFile(kindOf(entry) == FileKind::File)
    , m_mayHaveThumbnail(m_isFile) {
    resize(width, kHeight);
    setToolTip(url.toLocalFile());
    setAccessibleName(m_name);
    setAccessibleDescription(m_detail);
}

QRect FileRow::iconFrame() {
    return frameInParent(10, 10, 32, 32, kHeight);
}

QRect FileRow::nameFrame() const {
    return frameInParent(54, 23, width() - 68, 19, kHeight);
}

QRect FileRow::detailFrame() const {
    return frameInParent(54, 6, width() - 68, 16, kHeight);
}

bool FileRow::isChosen() const {
    return owner && owner->selection.contains(m_fileName);
}

void FileRow::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const bool chosen = isChosen();
    if (m_hovered || chosen) {
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath highlight;
        highlight.addRoundedRect(QRectF(rect()).adjusted(kHighlightInset, kHighlightInset,
                                                         -kHighlightInset, -kHighlightInset),
                                 kHighlightRadius, kHighlightRadius);
        // Chosen in the accent colour, a shade lighter under the pointer; hovered alone, a tint.
        painter.fillPath(highlight,
                         chosen ? colors::withAlpha(colors::accent(palette()),
                                                    m_hovered ? kChosenHoveredAlpha : 1.0)
                                : colors::withAlpha(colors::label(palette()), kHighlightAlpha));
    }
    askForThumbnail(); // an answer from memory comes at once
    if (m_thumbnail.isNull()) {
        m_icon.paint(&painter, iconFrame());
    } else {
        QRectF frame(QPointF(), m_thumbnail.deviceIndependentSize());
        frame.moveCenter(QRectF(iconFrame()).center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawPixmap(frame, m_thumbnail, m_thumbnail.rect());
    }

    const QRect nameArea = nameFrame().adjusted(kLabelInset, 0, -kLabelInset, 0);
    painter.setFont(pixelFont(font(), 13, QFont::Medium));
    painter.setPen(chosen ? colors::onAccent(palette()) : colors::label(palette()));
    // Long names keep their beginning and their end: the extension stays readable.
    painter.drawText(nameArea, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                     painter.fontMetrics().elidedText(m_name, Qt::ElideMiddle, nameArea.width()));

    painter.setFont(pixelFont(font(), 11, QFont::Normal));
    painter.setPen(chosen ? colors::withAlpha(colors::onAccent(palette()), kChosenDetailAlpha)
                          : colors::secondaryLabel(palette()));
    painter.drawText(detailFrame().adjusted(kLabelInset, 0, -kLabelInset, 0),
                     Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, m_detail);
}

void FileRow::askForThumbnail() {
    if (m_thumbnails == nullptr || !m_mayHaveThumbnail) {
        return;
    }
    m_mayHaveThumbnail = false; // once
    const qreal ratio = devicePixelRatioF();
    const int pixels = static_cast<int>(std::ceil(iconFrame().width() * ratio));
    m_thumbnailWanted = m_thumbnails->request(this, url.toLocalFile(), m_modified, pixels,
                                              [this, ratio](const QImage& image) {
                                                  m_thumbnail = QPixmap::fromImage(image);
                                                  m_thumbnail.setDevicePixelRatio(ratio);
                                                  m_icon = QIcon(m_thumbnail);
                                                  update();
                                              });
}

void FileRow::showEvent(QShowEvent* /*event*/) {
    // Shown again without one: a file manager may have made one meanwhile.
    m_mayHaveThumbnail = m_isFile && m_thumbnail.isNull();
}

void FileRow::enterEvent(QEnterEvent* /*event*/) {
    m_hovered = true;
    update();
}

void FileRow::leaveEvent(QEvent* /*event*/) {
    m_hovered = false;
    update();
}

void FileRow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    m_down = event->scenePosition();
    m_chooseOnRelease = false;
    if (!owner) {
        return;
    }
    const Qt::KeyboardModifiers keys =
        event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier);
    if (keys == Qt::NoModifier && isChosen()) {
        m_chooseOnRelease = true;
    } else {
        owner->clickRow(m_fileName, keys);
    }
}

void FileRow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && std::exchange(m_chooseOnRelease, false) && owner) {
        owner->clickRow(m_fileName, Qt::NoModifier);
    }
}

void FileRow::mouseDoubleClickEvent(QMouseEvent* event) {
    // Exactly the second click opens; Qt reports a third as a plain press again.
    if (event->button() == Qt::LeftButton) {
        m_workspace.openUrl(url);
    }
}

void FileRow::mouseMoveEvent(QMouseEvent* event) {
    // Only a drag with the left button, the one that pressed.
    if (!m_down || !event->buttons().testFlag(Qt::LeftButton)) {
        return;
    }
    const QPointF moved = event->scenePosition() - *m_down;
    if (std::hypot(moved.x(), moved.y()) <= kDragThreshold) {
        return;
    }
    m_down.reset(); // one press starts at most one drag
    m_chooseOnRelease = false;
    dragOut();
}

void FileRow::dragOut() {
    // The row may be gone when the drag ends; the flag belongs to the controller.
    const QPointer<ShelfController> controller = owner;
    if (controller) {
        controller->exporting = true;
    }
    m_drags.dragOut(this, items(), m_icon);
    if (controller) {
        controller->exporting = false;
    }
}

QList<QUrl> FileRow::items() const {
    return owner ? owner->itemsFor(m_fileName, url) : QList<QUrl>{url};
}

void FileRow::contextMenuEvent(QContextMenuEvent* event) {
    // Not a child of the row: a rebuilt list must not take an open menu away.
    auto* menu = new QMenu;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    Workspace& workspace = m_workspace;
    menu->addAction(QStringLiteral("在 Finder 中显示"), menu,
                    [&workspace, chosen = items()] { workspace.revealItems(chosen); });
    menu->popup(event->globalPos());
}

} // namespace verrabel
