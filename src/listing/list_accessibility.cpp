#include "list_accessibility.h"

#include "file_list_view.h"
#include "file_row.h"

#include <QAccessibleWidget>

namespace verrabel {

namespace {

QAccessibleInterface* listInterface(const QString& className, QObject* object) {
    if (className == QLatin1String("verrabel::FileRow")) {
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::ListItem);
    }
    if (className == QLatin1String("verrabel::FileListView")) {
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::List);
    }
    return nullptr;
}

} // namespace

void installListAccessibility() {
    QAccessible::installFactory(listInterface);
}

} // namespace verrabel
