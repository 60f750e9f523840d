#pragma once

#include <QWidget>

#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace verrabel {

struct DesktopEntry;
struct DesktopListing;

/// The scroll view's document: the rows of one listing, first at the top. A new one is made for
/// every rebuild of the list.
///
/// Rows exist only for the items near the visible band: scrolling makes those that come near
/// and lets go of those that go far, so neither a rebuild, nor a scroll, nor memory grows with
/// the Desktop. The listing itself is shared, never copied.
class FileListView final : public QWidget {
    Q_OBJECT
public:
    static constexpr int kRowPitch = 54;
    /// Makes the row of one item, at the origin; the view places it and owns it.
    using MakeRow = std::function<QWidget*(const DesktopListing&, const DesktopEntry&)>;
    /// Whether an item is chosen.
    using IsChosen = std::function<bool(const DesktopEntry&)>;

    /// Without a listing the view holds no rows (a message, say).
    FileListView(std::shared_ptr<const DesktopListing> listing, MakeRow makeRow, int width,
                 int minimumHeight);

    [[nodiscard]] const DesktopListing* listing() const { return m_listing.get(); }
    /// Gives the listing up, for whoever frees it; the view lists nothing from then on.
    [[nodiscard]] std::shared_ptr<const DesktopListing> takeListing();
    /// The number of items, with or without rows.
    [[nodiscard]] std::size_t itemCount() const;
    /// The row of item `index`, if it has one now.
    [[nodiscard]] QWidget* rowAt(std::size_t index) const;
    /// Gives rows to the items within a band's height of the visible band [top, top + height),
    /// and takes them from the others.
    void showRowsAround(int top, int height);
    /// Says which items are chosen, for whoever asks for an item without its row.
    void setChosen(IsChosen chosen) { m_chosen = std::move(chosen); }
    [[nodiscard]] bool isChosen(std::size_t index) const;
    /// Called on a click on the list's empty space.
    std::function<void()> onEmptyClick;

protected:
    void mousePressEvent(QMouseEvent* event) override;

private:
    std::shared_ptr<const DesktopListing> m_listing;
    MakeRow m_makeRow;
    IsChosen m_chosen;
    std::map<std::size_t, QWidget*> m_rows;
};

} // namespace verrabel
