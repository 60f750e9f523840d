#pragma once

#include <QColor>
#include <QPointer>
#include <QRegion>
#include <QUrl>
#include <QWidget>

class QMimeData;

namespace verrabel {

class FilePromises;
class ShelfController;

/// The panel's root view: the frosted, round-cornered background every other view sits on,
/// with a thin rim that turns into a wider accent-coloured one while a drop is pending. It is
/// also the shelf's one drop target.
class DropView final : public QWidget {
    Q_OBJECT
public:
    explicit DropView(FilePromises& promises, QWidget* parent = nullptr);

    /// The controller whose flags and operations a drag drives; never kept alive by the view.
    QPointer<ShelfController> owner;
    /// An acceptable drag is over the view; selects the rim's look.
    bool dropHighlighted = false;

    /// Brings the rim in line with `dropHighlighted` and the palette now in force.
    void updateRim();
    [[nodiscard]] double rimWidth() const { return m_rimWidth; }
    [[nodiscard]] QColor rimColor() const { return m_rimColor; }

    void setCornerRadius(double radius);
    [[nodiscard]] double cornerRadius() const { return m_cornerRadius; }
    /// The rounded outline, for windows that must be cut to shape.
    [[nodiscard]] QRegion shape() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

    // Drag and drop, in receiving/drop_handling.cpp.
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    /// Whether the drag can give local file URLs, a portal transfer's key or file promises.
    [[nodiscard]] bool accepts(const QMimeData* mime);
    /// Acceptable content, and the source offers a copy.
    [[nodiscard]] bool acceptable(const QDropEvent* event);
    void clearDropState();

    FilePromises& m_promises;
    /// The drag's files as read while it moved over the view: some compositors (wlroots) let
    /// the data be read only then, not once it is dropped.
    QList<QUrl> m_draggedFiles;
    /// The drag offers a document-portal transfer key; the key, once read.
    bool m_offersTransfer = false;
    double m_cornerRadius;
    double m_rimWidth = 0;
    QColor m_rimColor;
};

} // namespace verrabel
