#pragma once

#include "file_drags.h"

namespace verrabel {

class QtFileDrags final : public FileDrags {
public:
    void dragOut(QWidget* source, const QUrl& file, const QIcon& icon) override;
};

} // namespace verrabel
