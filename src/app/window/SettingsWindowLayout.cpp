#include "app/window/SettingsWindow.h"
#include "app/window/WindowParts.h"

#include <QAction>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace harrowmint {

namespace {

enum Column { labelColumn, controlColumn, buttonColumn };

constexpr qsizetype currencyLetters = 3;
constexpr int fieldWidthInCharacters = 12;
constexpr int widthInCharacters = 112;
constexpr int smallestHeightInLines = 18;
constexpr double titleScale = 1.6;
constexpr double largestShareOfScreen = 0.9;

/// A frame around what belongs together.
QGridLayout* addGroup(QVBoxLayout* column, const QString& accessibleName)
{
    auto* const group = new QGroupBox;
    group->setAccessibleName(accessibleName);
    column->addWidget(group);
    auto* const grid = new QGridLayout(group);
    grid->setColumnStretch(controlColumn, 1);
    return grid;
}

/// A row: the label, whose mnemonic leads to the control, the control and perhaps a button.
void addRow(QGridLayout* grid, const QString& text, QWidget* control, QWidget* button = nullptr)
{
    const int row = grid->rowCount();
    auto* const label = new QLabel(displayText(text));
    label->setTextFormat(Qt::PlainText);
    label->setBuddy(control);
    alignWithLayout(label);
    grid->addWidget(label, row, labelColumn);
    const bool isWide = control->sizePolicy().horizontalPolicy() == QSizePolicy::Expanding;
    grid->addWidget(control, row, controlColumn, isWide ? Qt::Alignment() : Qt::AlignLeft);
    if (button)
        grid->addWidget(button, row, buttonColumn);
}

void addNote(QGridLayout* grid, const QString& text, Column from = controlColumn)
{
    grid->addWidget(new NoteLabel(text), grid->rowCount(), from, 1, buttonColumn - from + 1);
}

int widestOf(const std::initializer_list<QWidget*>& widgets)
{
    int width = 0;
    for (const QWidget* widget : widgets)
        width = std::max(width, widget->sizeHint().width());
    return width;
}

} // namespace

SettingsWindow::SettingsWindow(Actions actions)
    : m_actions(std::move(actions))
{
    setWindowTitle(QStringLiteral("Harrowmint Printer"));
    setObjectName(QStringLiteral("window"));
    auto* const scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll->setFocusPolicy(Qt::NoFocus);
    m_content = new QWidget;
    auto* const column = new QVBoxLayout(m_content);
    addHeader(column);
    addReceipts(column);
    addLabels(column);
    addStores(column);
    addActions(column);
    addFooter(column);
    column->addStretch();
    scroll->setWidget(m_content);
    auto* const outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);
    alignColumns();
    setTabOrders();
    setInitialSize();
    addQuitKey();
    updateControls();
}

void SettingsWindow::addHeader(QVBoxLayout* column)
{
    auto* const title = new QLabel(QStringLiteral("Harrowmint Printer"));
    title->setTextFormat(Qt::PlainText);
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * titleScale);
    large.setBold(true);
    title->setFont(large);
    alignWithLayout(title);
    column->addWidget(title);
    column->addWidget(new NoteLabel(QStringLiteral("Receipts and labels, ready to print.")));
    m_status = new StatusLine;
    column->addWidget(m_status);
}

QPushButton* SettingsWindow::refreshButton(
    const QString& objectName, const QString& text, const QString& accessibleName, std::function<void()> action)
{
    auto* const button = new QPushButton(text);
    button->setObjectName(objectName);
    button->setAccessibleName(accessibleName);
    connect(button, &QPushButton::clicked, this, std::move(action));
    return button;
}

void SettingsWindow::addReceipts(QVBoxLayout* column)
{
    QGridLayout* const grid = addGroup(column, QStringLiteral("Receipts"));
    m_grids.push_back(grid);
    m_receiptConnection = new Popup;
    m_receiptConnection->setObjectName(QStringLiteral("receiptConnection"));
    m_receiptConnection->addItems({QStringLiteral("USB"), QStringLiteral("Bluetooth")});
    addRow(grid, QStringLiteral("Print re&ceipts using"), m_receiptConnection);
    addNote(grid, QStringLiteral("Keep both printers saved. Only the selected connection prints receipts."));

    m_printer = new PrinterChoice(QStringLiteral("Select a USB receipt printer…"), PrinterChoice::Missing::hide);
    m_printer->setObjectName(QStringLiteral("printer"));
    m_refreshButton = refreshButton(QStringLiteral("refreshButton"), QStringLiteral("&Refresh"),
        QStringLiteral("Refresh USB receipt printers"), [this] { m_actions.refreshDevices(); });
    addRow(grid, QStringLiteral("&USB receipt printer"), m_printer, m_refreshButton);

    m_bluetoothReceipt =
        new PrinterChoice(QStringLiteral("No Bluetooth receipt printer selected"), PrinterChoice::Missing::list);
    m_bluetoothReceipt->setObjectName(QStringLiteral("bluetoothReceipt"));
    m_receiptRefreshButton = refreshButton(QStringLiteral("receiptRefreshButton"), QStringLiteral("R&efresh"),
        QStringLiteral("Refresh Bluetooth receipt printers"), [this] { m_actions.refreshLabels(); });
    addRow(grid, QStringLiteral("&Bluetooth receipt printer"), m_bluetoothReceipt, m_receiptRefreshButton);
    addNote(grid,
        QStringLiteral(
            "Turn on your ESC/POS printer. Pair serial Bluetooth printers in macOS settings, then Refresh."));

    m_paper = new Popup;
    m_paper->setObjectName(QStringLiteral("paper"));
    for (const int width : {80, 58})
        m_paper->addItem(displayText(QString::number(width) + QStringLiteral(" mm")), width);
    addRow(grid, QStringLiteral("&Paper"), m_paper);
    m_currency = new QLineEdit;
    m_currency->setObjectName(QStringLiteral("currency"));
    m_currency->setMaxLength(currencyLetters);
    m_currency->setFixedWidth(m_currency->fontMetrics().averageCharWidth() * fieldWidthInCharacters);
    m_currency->setAlignment(isRightToLeft() ? Qt::AlignRight | Qt::AlignAbsolute : Qt::AlignLeft);
    connect(m_currency, &QLineEdit::textEdited, this, [this](const QString& typed) {
        const int cursor = m_currency->cursorPosition();
        m_currency->setText(typed.toUpper());
        m_currency->setCursorPosition(cursor);
    });
    addRow(grid, QStringLiteral("Fallback curre&ncy"), m_currency);
    addNote(grid,
        QStringLiteral("Paper width applies to either receipt connection. Currency is used only when the website omits "
                       "it."));
}

void SettingsWindow::addLabels(QVBoxLayout* column)
{
    QGridLayout* const grid = addGroup(column, QStringLiteral("Labels"));
    m_grids.push_back(grid);
    m_labelPrinter = new PrinterChoice(QStringLiteral("No label printer selected"), PrinterChoice::Missing::list);
    m_labelPrinter->setObjectName(QStringLiteral("labelPrinter"));
    m_labelRefreshButton = refreshButton(QStringLiteral("labelRefreshButton"), QStringLiteral("Re&fresh"),
        QStringLiteral("Refresh Bluetooth label printers"), [this] { m_actions.refreshLabels(); });
    addRow(grid, QStringLiteral("Bluetooth &label printer"), m_labelPrinter, m_labelRefreshButton);
    addNote(grid, QStringLiteral("Turn on the label printer and allow Bluetooth access."));
}

void SettingsWindow::addStores(QVBoxLayout* column)
{
    QGridLayout* const grid = addGroup(column, QStringLiteral("Stores"));
    addNote(grid, QStringLiteral("Print from your store and approve its connection once on this Mac."), labelColumn);
    m_stores = new ElidedLabel;
    m_stores->setObjectName(QStringLiteral("stores"));
    m_disconnectButton = new QPushButton(displayText(QStringLiteral("&Disconnect approved stores…")));
    m_disconnectButton->setObjectName(QStringLiteral("disconnectButton"));
    connect(m_disconnectButton, &QPushButton::clicked, this, [this] { m_actions.disconnectStores(); });
    const int row = grid->rowCount();
    grid->addWidget(m_stores, row, labelColumn, 1, 2);
    grid->addWidget(m_disconnectButton, row, buttonColumn);
    m_pause = new QCheckBox(QStringLiteral("Pause &website printing"));
    m_pause->setObjectName(QStringLiteral("pause"));
    grid->addWidget(m_pause, row + 1, labelColumn, 1, 3);
}

void SettingsWindow::addActions(QVBoxLayout* column)
{
    m_login = new QCheckBox(QStringLiteral("Start &automatically at login"));
    m_login->setObjectName(QStringLiteral("login"));
    column->addWidget(m_login);
    auto* const row = new QHBoxLayout;
    m_saveButton = new QPushButton(QStringLiteral("&Save settings"));
    m_saveButton->setObjectName(QStringLiteral("saveButton"));
    connect(m_saveButton, &QPushButton::clicked, this, [this] { m_actions.save(); });
    m_testButton = new QPushButton(QStringLiteral("Print &test receipt"));
    m_testButton->setObjectName(QStringLiteral("testButton"));
    connect(m_testButton, &QPushButton::clicked, this, [this] { m_actions.printTest(); });
    m_progress = new QProgressBar;
    m_progress->setObjectName(QStringLiteral("progress"));
    m_progress->setAccessibleName(QStringLiteral("Looking for printers"));
    m_progress->setToolTip(toolTipText(QStringLiteral("Looking for printers…")));
    m_progress->setRange(0, 0);
    m_progress->setTextVisible(false);
    m_progress->setMaximumWidth(m_saveButton->sizeHint().width());
    m_progress->setMaximumHeight(fontMetrics().height());
    const int width = widestOf({m_saveButton, m_testButton}) + fontMetrics().averageCharWidth() * 2;
    for (QPushButton* button : {m_saveButton, m_testButton}) {
        button->setMinimumWidth(width);
        row->addWidget(button);
    }
    row->addStretch();
    row->addWidget(m_progress);
    column->addLayout(row);
    m_activity = new QLabel;
    m_activity->setObjectName(QStringLiteral("activity"));
    m_activity->setTextFormat(Qt::PlainText);
    m_activity->setWordWrap(true);
    // Room for two lines, so that nothing moves when the text changes.
    m_activity->setMinimumHeight(2 * m_activity->fontMetrics().lineSpacing());
    m_activity->setAlignment(Qt::AlignTop);
    alignWithLayout(m_activity);
    column->addWidget(m_activity);
}

void SettingsWindow::addFooter(QVBoxLayout* column)
{
    column->addWidget(new NoteLabel(
        QStringLiteral("Closing this window keeps printing active. Use the printer icon in the menu bar to reopen or "
                       "quit.")));
    column->addWidget(new NoteLabel(QStringLiteral("No receipt data is saved on this Mac.")));
}

void SettingsWindow::alignColumns()
{
    int widestLabel = 0;
    int widestButton = 0;
    for (const QGridLayout* grid : m_grids) {
        for (const auto* label : grid->parentWidget()->findChildren<QLabel*>()) {
            if (label->buddy())
                widestLabel = std::max(widestLabel, label->sizeHint().width());
        }
        for (const auto* button : grid->parentWidget()->findChildren<QPushButton*>())
            widestButton = std::max(widestButton, button->sizeHint().width());
    }
    for (QGridLayout* grid : m_grids) {
        grid->setColumnMinimumWidth(labelColumn, widestLabel);
        grid->setColumnMinimumWidth(buttonColumn, widestButton);
    }
}

void SettingsWindow::setTabOrders()
{
    const std::initializer_list<QWidget*> order{m_receiptConnection, m_printer, m_refreshButton, m_bluetoothReceipt,
        m_receiptRefreshButton, m_paper, m_currency, m_labelPrinter, m_labelRefreshButton, m_disconnectButton, m_pause,
        m_login, m_saveButton, m_testButton};
    for (const auto* control = order.begin(); control + 1 != order.end(); ++control)
        setTabOrder(*control, *(control + 1));
}

void SettingsWindow::setInitialSize()
{
    // The layouts ask their labels for heights, which those know once they have the style's fonts.
    for (const auto* child : m_content->findChildren<QWidget*>())
        child->ensurePolished();
    m_content->layout()->activate();
    const int characters = fontMetrics().averageCharWidth();
    const int scrollBar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    setMinimumWidth(m_content->minimumSizeHint().width() + scrollBar);
    setMinimumHeight(fontMetrics().lineSpacing() * smallestHeightInLines);
    const int width = std::max(minimumWidth(), characters * widthInCharacters);
    const QSize available = screen()->availableSize() * largestShareOfScreen;
    const int height = m_content->layout()->heightForWidth(width);
    resize(QSize(width, height).boundedTo(available).expandedTo(minimumSize()));
}

void SettingsWindow::addQuitKey()
{
    auto* const quit = new QAction(QStringLiteral("Quit"), this);
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, [this] { m_actions.quit(); });
    addAction(quit);
}

} // namespace harrowmint
