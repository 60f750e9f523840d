#include "candidate_names.h"

#include <algorithm>
#include <climits>
#include <filesystem>

namespace verrabel {

namespace {

/// The first `size` bytes of `text`, or fewer: not in the middle of a UTF-8 character.
QByteArray cutAtCharacter(const QByteArray& text, qsizetype size) {
    qsizetype keep = std::clamp<qsizetype>(size, 0, text.size());
    while (keep > 0 && keep < text.size() &&
           (static_cast<unsigned char>(text[keep]) & 0xC0) == 0x80) {
        --keep;
    }
    return text.left(keep);
}

} // namespace

CandidateNames::CandidateNames(QByteArray name)
    : m_name(std::move(name)) {
    const std::filesystem::path path(m_name.toStdString());
    const std::string extension = path.extension().string();
    if (extension.size() > 1) {
        m_base = QByteArray::fromStdString(path.stem().string());
        m_extension = QByteArray::fromStdString(extension);
    } else {
        m_base = m_name;
    }
}

QByteArray CandidateNames::at(int n) const {
    if (n == 0) {
        return m_name;
    }
    // A long name, Chinese ones most of all at three bytes a character, may not fit once
    // numbered.
    const QByteArray number = " (" + QByteArray::number(n) + ")";
    const QByteArray extension = cutAtCharacter(m_extension, NAME_MAX - number.size());
    return cutAtCharacter(m_base, NAME_MAX - number.size() - extension.size()) + number + extension;
}

} // namespace verrabel
