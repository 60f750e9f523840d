#pragma once

#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QWidget>

namespace verrabel {

/// Labels keep their text two points in from their frames' edges, as the design draws them.
inline constexpr int kLabelInset = 2;

/// How strongly a text or symbol stands out.
enum class Tone { Primary, Secondary };

/// A plain text label: not editable, not selectable, no border or background. Long single-line
/// texts are elided as set; the full text stays the label's text (tooltips, screen readers).
class Label final : public QLabel {
    Q_OBJECT
public:
    explicit Label(const QString& text, QWidget* parent = nullptr);

    void setPixelFont(int pixelSize, QFont::Weight weight = QFont::Normal);
    void setTone(Tone tone);
    [[nodiscard]] Tone tone() const { return m_tone; }
    void setElideMode(Qt::TextElideMode mode);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Tone m_tone = Tone::Primary;
    Qt::TextElideMode m_elideMode = Qt::ElideNone;
};

/// One of Verrabel's SVG symbols drawn in a palette colour, sharp at any pixel ratio.
[[nodiscard]] QIcon tintedSymbol(const QString& resource, const QColor& tint);

/// An image view showing a symbol, scaled proportionally into its frame and tinted by tone.
class SymbolView final : public QWidget {
    Q_OBJECT
public:
    SymbolView(QString resource, Tone tone, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_resource;
    Tone m_tone;
};

/// A push button with a symbol after its title, in the button's text colour.
class SymbolButton final : public QPushButton {
    Q_OBJECT
public:
    SymbolButton(const QString& title, QString trailingSymbol, QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void updateSymbol();

    QString m_symbol;
};

/// A horizontal separator line in the palette's separator colour.
class Separator final : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace verrabel
