#include "row_selection.h"

#include "desktop_scan.h"

#include <algorithm>

namespace verrabel {

namespace {

std::optional<std::size_t> indexOf(const DesktopListing& listing, const QByteArray& name) {
    const auto found =
        std::find_if(listing.entries.begin(), listing.entries.end(),
                     [&name](const DesktopEntry& entry) { return entry.fileName == name; });
    if (found == listing.entries.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - listing.entries.begin());
}

} // namespace

void RowSelection::choose(const QByteArray& name) {
    m_names = {name};
    m_anchor = name;
}

void RowSelection::toggle(const QByteArray& name) {
    if (!m_names.remove(name)) {
        m_names.insert(name);
    }
    m_anchor = name;
}

void RowSelection::extendTo(const QByteArray& name, const DesktopListing& listing) {
    const std::optional<std::size_t> to = indexOf(listing, name);
    const std::optional<std::size_t> from = m_anchor ? indexOf(listing, *m_anchor) : std::nullopt;
    if (!to || !from) {
        choose(name);
        return;
    }
    // The anchor stays: the next Shift+click measures from it again, as file lists do.
    m_names.clear();
    for (std::size_t index = std::min(*from, *to); index <= std::max(*from, *to); ++index) {
        m_names.insert(listing.entries[index].fileName);
    }
}

void RowSelection::clear() {
    m_names.clear();
    m_anchor.reset();
}

void RowSelection::keepWithin(const DesktopListing& listing) {
    if (m_names.isEmpty() && !m_anchor) {
        return; // the common case reads nothing
    }
    QSet<QByteArray> kept;
    bool anchorKept = false;
    for (const DesktopEntry& entry : listing.entries) {
        if (m_names.contains(entry.fileName)) {
            kept.insert(entry.fileName);
        }
        anchorKept = anchorKept || (m_anchor && entry.fileName == *m_anchor);
    }
    m_names = std::move(kept);
    if (!anchorKept) {
        m_anchor.reset();
    }
}

QList<QUrl> RowSelection::urlsInOrder(const DesktopListing& listing) const {
    QList<QUrl> urls;
    for (const DesktopEntry& entry : listing.entries) {
        if (m_names.contains(entry.fileName)) {
            urls.append(listing.urlOf(entry));
        }
    }
    return urls;
}

} // namespace verrabel
