#pragma once

#include <QByteArray>

namespace verrabel {

/// The names an item is offered under, in turn: its own, then "base (n).extension" for n from 1
/// on, with the standard library's idea of an extension (".profile" has none; "archive.tar.gz"
/// has ".gz"). A numbered name is shortened to fit the file system's 255 bytes, never in the
/// middle of a UTF-8 character: the base first, the extension only when even that is not enough.
class CandidateNames {
public:
    explicit CandidateNames(QByteArray name);

    [[nodiscard]] QByteArray at(int n) const;

private:
    QByteArray m_name;
    QByteArray m_base;
    QByteArray m_extension;
};

} // namespace verrabel
