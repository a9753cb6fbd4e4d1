#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

namespace harrowmint {

/// Which button of a sheet was pressed.
enum class SheetResponse { first = 1000, second = 1001 };

/// What a sheet says. A plain value.
struct SheetText {
    QString message; ///< the question or the error
    QString informative = {}; ///< what it means; may be empty
    QStringList buttons; ///< one or two, in their order
    SheetResponse safe = SheetResponse::first; ///< the default button; also what Escape and closing the sheet answer
    /// The other button takes a press that can only be meant for it: not Enter, and nothing in the midst of typing or
    /// right after the sheet has appeared.
    bool isDeliberate = false;
};

/// An open sheet. Its destruction closes it unanswered.
class OpenSheet {
public:
    OpenSheet() = default;
    OpenSheet(const OpenSheet&) = delete;
    OpenSheet& operator=(const OpenSheet&) = delete;
    virtual ~OpenSheet() = default;
};

/// The settings window as one who asks or tells the user something needs it. Main queue.
class SheetWindow {
public:
    using Completion = std::function<void(SheetResponse)>;

    SheetWindow() = default;
    SheetWindow(const SheetWindow&) = delete;
    SheetWindow& operator=(const SheetWindow&) = delete;
    virtual ~SheetWindow() = default;

    /// Activates the agent and brings its window to the front.
    virtual void bringToFront() = 0;
    /// Opens a sheet on the window. `completion` gets the one answer, never within this call; not any more once the
    /// returned handle is gone.
    [[nodiscard]] virtual std::unique_ptr<OpenSheet> showSheet(const SheetText& text, Completion completion) = 0;
    /// Shows `text` in an error alert, in place of the one that is open.
    virtual void showError(const QString& text) = 0;
};

} // namespace harrowmint
