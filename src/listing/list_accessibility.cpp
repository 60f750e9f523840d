#include "list_accessibility.h"

#include "desktop_scan.h"
#include "file_list_view.h"
#include "file_row.h"

#include <QAccessibleWidget>
#include <QPointer>

#include <map>

namespace verrabel {

namespace {

/// One item of the list as a screen reader meets it, whether or not it has a row just now.
class ItemInterface final : public QAccessibleInterface {
public:
    ItemInterface(FileListView* list, std::size_t index)
        : m_list(list)
        , m_index(index) {}

    [[nodiscard]] const FileListView* list() const { return m_list.data(); }
    [[nodiscard]] std::size_t index() const { return m_index; }

    [[nodiscard]] bool isValid() const override {
        return m_list != nullptr && m_list->listing() != nullptr && m_index < m_list->itemCount();
    }
    [[nodiscard]] QObject* object() const override { return nullptr; }
    [[nodiscard]] QWindow* window() const override {
        return m_list != nullptr ? m_list->window()->windowHandle() : nullptr;
    }
    [[nodiscard]] QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(m_list.data());
    }
    [[nodiscard]] QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* /*child*/) const override {
        return -1;
    }
    [[nodiscard]] QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override {
        return nullptr;
    }
    [[nodiscard]] QAccessibleInterface* focusChild() const override { return nullptr; }
    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        if (!isValid()) {
            return {};
        }
        const DesktopEntry& entry = m_list->listing()->entries[m_index];
        switch (kind) {
        case QAccessible::Name:
            return entry.name();
        case QAccessible::Description:
            return FileRow::detailOf(entry);
        default:
            return {};
        }
    }
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}
    [[nodiscard]] QRect rect() const override {
        const QWidget* row = isValid() ? m_list->rowAt(m_index) : nullptr;
        return row != nullptr ? QRect(row->mapToGlobal(QPoint()), row->size()) : QRect();
    }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::ListItem; }
    [[nodiscard]] QAccessible::State state() const override {
        QAccessible::State state;
        const QWidget* row = isValid() ? m_list->rowAt(m_index) : nullptr;
        state.invisible = row == nullptr || !row->isVisible();
        state.offscreen = state.invisible;
        state.selectable = true;
        state.selected = isValid() && m_list->isChosen(m_index);
        return state;
    }

private:
    QPointer<FileListView> m_list;
    std::size_t m_index;
};

/// The list: an item for each entry of its listing, with a row or without one.
class ListInterface final : public QAccessibleWidget {
public:
    explicit ListInterface(FileListView* list)
        : QAccessibleWidget(list, QAccessible::List) {}
    ~ListInterface() override {
        for (const auto& [index, id] : m_items) {
            QAccessible::deleteAccessibleInterface(id);
        }
    }
    ListInterface(const ListInterface&) = delete;
    ListInterface& operator=(const ListInterface&) = delete;

    [[nodiscard]] int childCount() const override {
        return hasItems() ? static_cast<int>(view()->itemCount()) : QAccessibleWidget::childCount();
    }
    [[nodiscard]] QAccessibleInterface* child(int index) const override {
        if (!hasItems()) {
            return QAccessibleWidget::child(index);
        }
        if (index < 0 || index >= childCount()) {
            return nullptr;
        }
        // Made as a screen reader asks for them, and kept while the list lives.
        if (const auto found = m_items.find(index); found != m_items.end()) {
            return QAccessible::accessibleInterface(found->second);
        }
        auto* item = new ItemInterface(view(), static_cast<std::size_t>(index));
        m_items.emplace(index, QAccessible::registerAccessibleInterface(item));
        return item;
    }
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override {
        if (!hasItems() || child == nullptr) {
            return QAccessibleWidget::indexOfChild(child);
        }
        if (const auto* item = dynamic_cast<const ItemInterface*>(child)) {
            return item->list() == view() ? static_cast<int>(item->index()) : -1;
        }
        // A row's own interface stands for its item.
        const auto* row = qobject_cast<const QWidget*>(child->object());
        return row != nullptr && row->parentWidget() == view() ? row->y() / FileListView::kRowPitch
                                                               : -1;
    }
    /// The item under a point, found by its place: asking each of them would make them all.
    [[nodiscard]] QAccessibleInterface* childAt(int x, int y) const override {
        if (!hasItems()) {
            return QAccessibleWidget::childAt(x, y);
        }
        const QPoint point = view()->mapFromGlobal(QPoint(x, y));
        const int index = point.y() >= 0 ? point.y() / FileListView::kRowPitch : -1;
        const QWidget* row = index >= 0 ? view()->rowAt(static_cast<std::size_t>(index)) : nullptr;
        return row != nullptr && row->geometry().contains(point) ? child(index) : nullptr;
    }

private:
    [[nodiscard]] FileListView* view() const { return static_cast<FileListView*>(widget()); }
    [[nodiscard]] bool hasItems() const { return view()->itemCount() > 0; }

    mutable std::map<int, QAccessible::Id> m_items;
};

QAccessibleInterface* listInterface(const QString& className, QObject* object) {
    if (className == QLatin1String("verrabel::FileListView")) {
        return new ListInterface(static_cast<FileListView*>(object));
    }
    return nullptr;
}

} // namespace

void installListAccessibility() {
    QAccessible::installFactory(listInterface);
}

} // namespace verrabel
