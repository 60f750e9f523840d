#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>
#include <QUrl>

#include <optional>

namespace verrabel {

struct DesktopListing;

/// Which rows of the list are chosen, as a file list has it: a click chooses one row, Ctrl adds
/// or takes one, Shift takes the range from the last row clicked. It holds the items' names, not
/// rows, so that it outlives the rows that scrolling and rescans make again; `listing` is always
/// the list on display.
class RowSelection final {
public:
    /// A plain click: this item alone.
    void choose(const QByteArray& name);
    /// A Ctrl+click: adds the item, or takes it out.
    void toggle(const QByteArray& name);
    /// A Shift+click: the items from the last one clicked to this one, both included; without a
    /// last one still in the list, this item alone.
    void extendTo(const QByteArray& name, const DesktopListing& listing);
    void clear();
    /// Keeps the items that are still in the list.
    void keepWithin(const DesktopListing& listing);

    [[nodiscard]] bool contains(const QByteArray& name) const { return m_names.contains(name); }
    [[nodiscard]] bool isEmpty() const { return m_names.isEmpty(); }
    /// The chosen items' URLs, in the list's order.
    [[nodiscard]] QList<QUrl> urlsInOrder(const DesktopListing& listing) const;

private:
    QSet<QByteArray> m_names;
    /// The item last clicked, where a Shift+click's range starts.
    std::optional<QByteArray> m_anchor;
};

} // namespace verrabel
