#include "controls.h"

#include "colors.h"

#include <QEvent>
#include <QIconEngine>
#include <QPainter>
#include <QSvgRenderer>

namespace verrabel {

namespace {

QColor toneColor(const QPalette& palette, Tone tone) {
    return tone == Tone::Secondary ? colors::secondaryLabel(palette) : colors::label(palette);
}

/// Renders an SVG symbol at the exact device size asked for, then fills its shape with the tint.
class TintedSvgEngine final : public QIconEngine {
public:
    TintedSvgEngine(QString resource, QColor tint)
        : m_resource(std::move(resource))
        , m_tint(tint) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        const qreal scale = painter->device()->devicePixelRatioF();
        painter->drawPixmap(rect, scaledPixmap(rect.size(), mode, state, scale));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State /*state*/,
                         qreal scale) override {
        const QSize pixels = (QSizeF(size) * scale).toSize();
        QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QSvgRenderer renderer(m_resource);
        if (renderer.isValid() && !pixels.isEmpty()) {
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            const QSizeF fitted =
                QSizeF(renderer.defaultSize()).scaled(pixels, Qt::KeepAspectRatio);
            const QPointF origin((pixels.width() - fitted.width()) / 2,
                                 (pixels.height() - fitted.height()) / 2);
            renderer.render(&painter, QRectF(origin, fitted));
            painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
            constexpr double kDisabledAlpha = 0.4;
            painter.fillRect(image.rect(),
                             mode == QIcon::Disabled
                                 ? colors::withAlpha(m_tint, m_tint.alphaF() * kDisabledAlpha)
                                 : m_tint);
        }
        QPixmap pixmap = QPixmap::fromImage(std::move(image));
        pixmap.setDevicePixelRatio(scale);
        return pixmap;
    }

    QSize actualSize(const QSize& size, QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        return size;
    }

    [[nodiscard]] QIconEngine* clone() const override {
        return new TintedSvgEngine(m_resource, m_tint);
    }

private:
    QString m_resource;
    QColor m_tint;
};

} // namespace

Label::Label(const QString& text, QWidget* parent)
    : QLabel(text, parent) {
    setTextInteractionFlags(Qt::NoTextInteraction);
    setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
}

void Label::setPixelFont(int pixelSize, QFont::Weight weight) {
    QFont pixelFont = font();
    pixelFont.setPixelSize(pixelSize);
    pixelFont.setWeight(weight);
    setFont(pixelFont);
}

void Label::setTone(Tone tone) {
    m_tone = tone;
    update();
}

void Label::setElideMode(Qt::TextElideMode mode) {
    m_elideMode = mode;
    update();
}

void Label::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(toneColor(palette(), m_tone));
    const QRect area = contentsRect().adjusted(kLabelInset, 0, -kLabelInset, 0);
    if (wordWrap()) {
        painter.drawText(area, static_cast<int>(alignment()) | Qt::TextWordWrap, text());
        return;
    }
    const QString shown = m_elideMode == Qt::ElideNone
                              ? text()
                              : fontMetrics().elidedText(text(), m_elideMode, area.width());
    painter.drawText(area, static_cast<int>(alignment()) | Qt::TextSingleLine, shown);
}

QIcon tintedSymbol(const QString& resource, const QColor& tint) {
    return QIcon(new TintedSvgEngine(resource, tint));
}

SymbolView::SymbolView(QString resource, Tone tone, QWidget* parent)
    : QWidget(parent)
    , m_resource(std::move(resource))
    , m_tone(tone) {}

void SymbolView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    tintedSymbol(m_resource, toneColor(palette(), m_tone)).paint(&painter, rect());
}

SymbolButton::SymbolButton(const QString& title, QString trailingSymbol, QWidget* parent)
    : QPushButton(title, parent)
    , m_symbol(std::move(trailingSymbol)) {
    // Right-to-left puts the icon after the title and changes nothing else of a one-line button.
    setLayoutDirection(Qt::RightToLeft);
    updateSymbol();
}

void SymbolButton::changeEvent(QEvent* event) {
    QPushButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateSymbol();
    }
}

void SymbolButton::updateSymbol() {
    setIcon(tintedSymbol(m_symbol, palette().color(QPalette::ButtonText)));
}

void Separator::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), colors::separator(palette()));
}

} // namespace verrabel
