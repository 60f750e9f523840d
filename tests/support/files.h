#pragma once

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace verrabel::testing {

/// A throw-away folder to write files into and look at.
struct Files {
    QTemporaryDir root;
    [[nodiscard]] QString path(const QString& name = {}) const { return root.filePath(name); }
    [[nodiscard]] QByteArray native(const QString& name) const {
        return QFile::encodeName(path(name));
    }
    void mkdir(const QString& name) const { ASSERT_TRUE(QDir().mkpath(path(name))); }
    /// Writes the file, making the folders it needs.
    void write(const QString& name, const QByteArray& bytes = "x") const {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << name.toStdString();
        file.write(bytes);
    }
    [[nodiscard]] QByteArray read(const QString& name) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Every entry of the folder, hidden ones too, by name.
    [[nodiscard]] QStringList names(const QString& folder) const {
        return QDir(path(folder))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDir::Name);
    }
};

} // namespace verrabel::testing
