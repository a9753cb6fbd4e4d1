#pragma once

#include "app/window/PrinterList.h"
#include "app/window/WindowParts.h"

#include <QTimer>
#include <optional>
#include <vector>

namespace harrowmint {

/// A pop-up of printers whose first item is a placeholder. Knows the printer that is chosen also while its list does
/// not show it: a printer that is switched off, or a list that is being made anew, never loses what was saved. A choice
/// of the user that is not saved yet survives a new list as well.
class PrinterChoice final : public Popup {
public:
    /// What happens to a chosen printer that a new list lacks.
    enum class Missing {
        hide, ///< the placeholder is shown; the saved printer stays chosen until the user chooses
        list, ///< it is listed all the same
    };

    PrinterChoice(const QString& placeholder, Missing missing, QWidget* parent = nullptr);

    /// What the settings hold now; it is chosen unless the user has chosen otherwise and not saved that yet. Call when
    /// settings were loaded or saved.
    void setSaved(const SavedPrinter& saved);
    /// Empties the pop-up and fills it with the placeholder and `printers`; while the user has it open, once it is
    /// closed, unless a newer list has come by then.
    void setPrinters(const std::vector<ListedPrinter>& printers);
    /// Empties the pop-up because its list is being made anew. What is chosen stays chosen: only the next `setPrinters`
    /// tells whether it is missing. While the user has it open, it is emptied once it is closed.
    void clearPrinters();
    /// The printer to save.
    [[nodiscard]] const SavedPrinter& chosen() const { return m_chosen; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    [[nodiscard]] bool isInUse() const;
    void fillWithWaiting();
    /// What the pop-up is to show.
    struct Contents {
        std::vector<ListedPrinter> printers;
        bool isWhole = true; ///< what it lacks is missing, and not just being looked for
    };

    void exchange(Contents contents);
    void fill(Contents contents);
    void treatMissingChoice(bool isWhole);
    void userChose(int index);
    void showChosen();

    const Missing m_missing;
    SavedPrinter m_saved;
    SavedPrinter m_chosen;
    bool m_isUnsaved = false; ///< `m_chosen` is a choice of the user
    bool m_filling = false;
    std::vector<ListedPrinter> m_printers;
    std::optional<Contents> m_waiting; ///< until the list is closed
    QTimer m_afterClosing;
};

} // namespace harrowmint
