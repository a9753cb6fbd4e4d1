#pragma once

#include "app/window/Sheet.h"
#include "base/SerialQueue.h"

#include <QDialog>
#include <chrono>
#include <memory>
#include <vector>

class QPushButton;

namespace harrowmint {

/// A window-modal sheet with a message, what it means, and buttons in their stated order. Main queue. Deletes itself
/// once it is closed.
class AlertSheet final : public QDialog {
public:
    using Completion = SheetWindow::Completion;

    /// A deliberate button is dead for this long after the sheet has appeared; the keyboard also after it has become
    /// the active window, and after a key that means nothing here: the user is typing for another window.
    static constexpr std::chrono::milliseconds settleTime{1000};

    /// Opens a sheet on `parent`. `completion` is called once, when it is answered, unless the handle is gone by then.
    [[nodiscard]] static std::unique_ptr<OpenSheet> open(
        QWidget* parent, SerialQueue& queue, const SheetText& text, Completion completion);

    void reject() override;

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Handle;

    AlertSheet(QWidget* parent, SerialQueue& queue, const SheetText& text, Completion completion);
    void addTexts(const SheetText& text);
    void addButtons(const SheetText& text);
    void answer(SheetResponse response);
    void close();
    void settle();
    void quietKeys();
    [[nodiscard]] bool isMeantForThis(const class QKeyEvent& event);

    SerialQueue& m_queue;
    Completion m_completion;
    SheetResponse m_safe;
    bool m_isDeliberate;
    QPushButton* m_safeButton = nullptr;
    QPushButton* m_deliberateButton = nullptr;
    Timer m_settling;
    std::chrono::steady_clock::time_point m_keysCountFrom;
};

} // namespace harrowmint
