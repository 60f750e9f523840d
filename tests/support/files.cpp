#include "files.h"

namespace verrabel::testing {

void Files::write(const QString& name, const QByteArray& bytes) const {
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
    file.write(bytes);
}

QByteArray Files::read(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList Files::names(const QString& folder) const {
    return QDir(path(folder))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                   QDir::Name);
}

} // namespace verrabel::testing
