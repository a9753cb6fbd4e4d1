#pragma once

#include <QComboBox>
#include <QLabel>
#include <QString>
#include <QStringList>

/// Small parts of the agent's windows. They take every colour from the palette and follow it when it changes.
namespace harrowmint {

/// `text` as it must be handed to a control: in a right-to-left layout the full stop or the number of a left-to-right
/// sentence would stand at its wrong end, which invisible marks prevent. Unchanged in a left-to-right layout.
[[nodiscard]] QString displayText(const QString& text);
/// Has the text of `label` begin where lines begin in this layout, whatever the text's own direction is.
void alignWithLayout(QLabel* label);
/// `text` with places to break its lines wherever a word is longer than a line should be.
[[nodiscard]] QString breakableText(const QString& text);
/// `text` as every tool tip takes it: shown as it stands, line for line. Without this a name heard over the air could
/// be markup, which a tool tip follows up to loading files.
[[nodiscard]] QString toolTipText(const QString& text);

/// An explanation below a control: wrapped and quieter than the control's own label.
class NoteLabel final : public QLabel {
public:
    explicit NoteLabel(const QString& text, QWidget* parent = nullptr);

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyColour();
};

/// One line that ends in "…" where the room does.
class ElidedLabel final : public QLabel {
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A line that is well (green, a tick) or not (red, a cross), and says it in words.
class StatusLine final : public QWidget {
public:
    explicit StatusLine(QWidget* parent = nullptr);

    void show(const QString& text, bool isWell);
    [[nodiscard]] QLabel* label() const { return m_label; }
    [[nodiscard]] bool isWell() const { return m_isWell; }

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QColor colour() const;
    void applyColour();
    void makeRoom();

    QLabel* m_label;
    bool m_isWell = true;
};

/// A pop-up that never changes by a turn of the wheel (which is meant for the form around it), elides what it shows and
/// tells it whole in a tool tip.
class Popup : public QComboBox {
public:
    explicit Popup(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    bool event(QEvent* event) override;
};

} // namespace harrowmint
