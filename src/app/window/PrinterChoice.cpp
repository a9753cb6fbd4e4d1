#include "app/window/PrinterChoice.h"

#include <QAbstractItemView>
#include <QEvent>
#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

constexpr int placeholderIndex = 0;
constexpr int shownCharacters = 28;

} // namespace

PrinterChoice::PrinterChoice(const QString& placeholder, Missing missing, QWidget* parent)
    : Popup(parent)
    , m_missing(missing)
{
    addItem(displayText(placeholder));
    setSizeAdjustPolicy(AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(shownCharacters);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    view()->setTextElideMode(Qt::ElideRight);
    connect(this, &QComboBox::currentIndexChanged, this, [this](int index) { userChose(index); });
    m_afterClosing.setSingleShot(true);
    connect(&m_afterClosing, &QTimer::timeout, this, [this] { fillWithWaiting(); });
    view()->window()->installEventFilter(this);
    // The placeholder can be chosen where it is shown already: then the printer that is not listed is meant.
    connect(this, &QComboBox::activated, this, [this](int index) { userChose(index); });
}

void PrinterChoice::setSaved(const SavedPrinter& saved)
{
    m_saved = saved;
    const bool isSavedNow = m_chosen.has_value() == saved.has_value() && (!saved || m_chosen->uri == saved->uri);
    if (m_isUnsaved && !isSavedNow)
        return;
    m_chosen = saved;
    m_isUnsaved = false;
    showChosen();
}

void PrinterChoice::setPrinters(const std::vector<ListedPrinter>& printers)
{
    exchange({.printers = printers});
}

void PrinterChoice::clearPrinters()
{
    exchange({.printers = {}, .isWhole = false});
}

void PrinterChoice::exchange(Contents contents)
{
    if (isInUse())
        m_waiting = std::move(contents);
    else
        fill(std::move(contents));
}

/// A list is not exchanged under the user's pointer, nor before the item that was chosen is told.
bool PrinterChoice::isInUse() const
{
    return view()->isVisible() || m_afterClosing.isActive();
}

bool PrinterChoice::eventFilter(QObject* watched, QEvent* event)
{
    // Whoever closes the list: the user, or Qt because a sheet opens.
    if (event->type() == QEvent::Hide && watched == view()->window())
        m_afterClosing.start();
    return Popup::eventFilter(watched, event);
}

void PrinterChoice::fillWithWaiting()
{
    // Opened again already: it waits on.
    if (m_waiting && !isInUse())
        fill(*std::exchange(m_waiting, std::nullopt));
}

void PrinterChoice::fill(Contents contents)
{
    m_waiting.reset(); // older than this one
    m_printers = std::move(contents.printers);
    if (m_isUnsaved && m_chosen)
        treatMissingChoice(contents.isWhole);
    m_filling = true;
    while (count() > placeholderIndex + 1)
        removeItem(count() - 1);
    for (const ListedPrinter& each : m_printers) {
        addItem(displayText(each.title));
        setItemData(count() - 1, toolTipText(each.title), Qt::ToolTipRole);
    }
    m_filling = false;
    showChosen();
}

/// Of a choice that is not saved yet.
void PrinterChoice::treatMissingChoice(bool isWhole)
{
    const auto isChosen = [this](const ListedPrinter& each) { return each.printer.uri == m_chosen->uri; };
    if (std::any_of(m_printers.begin(), m_printers.end(), isChosen))
        return;
    if (m_missing == Missing::list) {
        m_printers.push_back({*m_chosen, currentIndex() > placeholderIndex ? currentText() : m_chosen->name});
    } else if (isWhole) {
        m_chosen = m_saved;
        m_isUnsaved = false;
    }
}

void PrinterChoice::showChosen()
{
    m_filling = true;
    int index = placeholderIndex;
    for (std::size_t i = 0; m_chosen && i < m_printers.size(); ++i) {
        if (m_printers[i].printer.uri == m_chosen->uri) {
            index = static_cast<int>(i) + 1;
            m_chosen = m_printers[i].printer; // its name may have changed
            break;
        }
    }
    setCurrentIndex(index);
    m_filling = false;
}

void PrinterChoice::userChose(int index)
{
    if (m_filling)
        return;
    m_isUnsaved = true;
    m_chosen = index > placeholderIndex ? SavedPrinter(m_printers.at(static_cast<std::size_t>(index) - 1).printer)
                                        : std::nullopt;
}

} // namespace harrowmint
