#include "app/window/PrinterChoice.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QTest>
#include <QTextDocument>
#include <QToolTip>
#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

const auto placeholder = QStringLiteral("Select a printer…");
const USBPrinter a{QStringLiteral("usb://A/1"), QStringLiteral("A")};
const USBPrinter b{QStringLiteral("usb://B/1"), QStringLiteral("B")};

QStringList items(const QComboBox& box)
{
    QStringList result;
    for (int index = 0; index < box.count(); ++index)
        result.append(box.itemText(index));
    return result;
}

std::vector<ListedPrinter> list(const std::vector<USBPrinter>& printers)
{
    return usbPrinterList(printers);
}

} // namespace

TEST(PrinterChoice, BeginsWithThePlaceholder)
{
    const PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    EXPECT_EQ(items(choice), QStringList{placeholder});
    EXPECT_EQ(choice.chosen(), std::nullopt);
}

TEST(PrinterChoice, SelectsTheSavedPrinterOfItsList)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(b);
    choice.setPrinters(list({a, b}));
    EXPECT_EQ(items(choice), (QStringList{placeholder, a.name, b.name}));
    EXPECT_EQ(choice.currentIndex(), 2);
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, TheSelectedIndexMinusOneIsThePrinterOfTheList)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(1);
    EXPECT_EQ(choice.chosen(), a);
    choice.setCurrentIndex(0);
    EXPECT_EQ(choice.chosen(), std::nullopt);
}

TEST(PrinterChoice, TakesOverTheNameThatTheSavedPrinterHasNow)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(USBPrinter{a.uri, QStringLiteral("Old")});
    choice.setPrinters(list({a}));
    EXPECT_EQ(choice.chosen(), a);
}

TEST(PrinterChoice, DoesNotLoseASavedPrinterThatIsSwitchedOff)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(b);
    choice.setPrinters(list({a}));
    EXPECT_EQ(choice.currentIndex(), 0);
    EXPECT_EQ(choice.chosen(), b);
    choice.setPrinters(list({a, b}));
    EXPECT_EQ(choice.currentIndex(), 2);
}

TEST(PrinterChoice, ForgetsASavedPrinterThatIsNotListedWhenTheUserChoosesThePlaceholder)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(b);
    choice.setPrinters(list({a}));
    choice.activated(0); // it is the current item already
    EXPECT_EQ(choice.chosen(), std::nullopt);
}

TEST(PrinterChoice, KeepsAChoiceThatIsNotSavedYetThroughANewList)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.setPrinters(list({b, a}));
    EXPECT_EQ(choice.currentIndex(), 1);
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, FallsBackToTheSavedPrinterWhenAnUnsavedChoiceIsNotFoundAnyMore)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.setPrinters(list({a}));
    EXPECT_EQ(choice.chosen(), a);
    EXPECT_EQ(choice.currentIndex(), 1);
}

TEST(PrinterChoice, KeepsAnUnsavedChoiceWhileTheListIsMadeAnew)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.clearPrinters();
    EXPECT_EQ(items(choice), QStringList{placeholder});
    EXPECT_EQ(choice.chosen(), b);
    choice.setPrinters(list({b, a}));
    EXPECT_EQ(choice.chosen(), b);
    EXPECT_EQ(choice.currentIndex(), 1);
}

TEST(PrinterChoice, FallsBackToTheSavedPrinterOnlyWhenTheNewListHasCome)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.clearPrinters();
    EXPECT_EQ(choice.chosen(), b);
    choice.setPrinters({});
    EXPECT_EQ(choice.chosen(), a);
}

TEST(PrinterChoice, IsEmptiedOnceItIsClosedAndKeepsAnUnsavedChoice)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.show();
    choice.showPopup();
    choice.clearPrinters();
    EXPECT_EQ(choice.count(), 3);
    choice.hidePopup();
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), QStringList{placeholder});
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, ListsAnUnsavedChoiceWhileTheListIsMadeAnewWhereMissingPrintersAreListed)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::list);
    choice.setPrinters({{b, QStringLiteral("B (Bluetooth LE)")}});
    choice.setCurrentIndex(1);
    choice.clearPrinters();
    EXPECT_EQ(items(choice), (QStringList{placeholder, QStringLiteral("B (Bluetooth LE)")}));
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, ListsAnUnsavedChoiceThatWasNotFoundWhereMissingPrintersAreListed)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::list);
    choice.setPrinters({{b, QStringLiteral("B (Bluetooth LE)")}});
    choice.setCurrentIndex(1);
    choice.setPrinters(list({a}));
    EXPECT_EQ(items(choice), (QStringList{placeholder, a.name, QStringLiteral("B (Bluetooth LE)")}));
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, KeepsAnUnsavedChoiceWhenSomethingElseIsSaved)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a, b}));
    choice.setCurrentIndex(2);
    choice.setSaved(a); // a store was approved
    EXPECT_EQ(choice.chosen(), b);
    choice.setSaved(b);
    choice.setPrinters(list({a}));
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, ExchangesNoListUnderTheUsersPointer)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a}));
    choice.show();
    choice.showPopup();
    ASSERT_TRUE(choice.view()->isVisible());
    choice.setPrinters(list({b}));
    EXPECT_EQ(items(choice), (QStringList{placeholder, a.name}));
    choice.hidePopup();
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), (QStringList{placeholder, b.name}));
}

TEST(PrinterChoice, FillsItselfWithTheListThatWaitedWhoeverClosesThePopup)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a}));
    choice.show();
    choice.showPopup();
    choice.setPrinters(list({b}));
    choice.view()->window()->close(); // as Qt does when a sheet opens
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), (QStringList{placeholder, b.name}));
}

TEST(PrinterChoice, NeverGoesBackToAnOutdatedListNorUndoesAChoiceByIt)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setSaved(a);
    choice.setPrinters(list({a}));
    choice.show();
    choice.showPopup();
    choice.setPrinters(list({a, b}));
    choice.setPrinters(list({a})); // outdated by the next
    choice.view()->window()->close();
    choice.setPrinters(list({a, b}));
    QCoreApplication::processEvents();
    choice.setCurrentIndex(2);
    choice.showPopup();
    choice.hidePopup();
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), (QStringList{placeholder, a.name, b.name}));
    EXPECT_EQ(choice.chosen(), b);
}

TEST(PrinterChoice, AListThatWaitsGoesOnWaitingWhenThePopupIsOpenedAgainAtOnce)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a}));
    choice.show();
    choice.showPopup();
    choice.setPrinters(list({b}));
    choice.hidePopup();
    choice.showPopup();
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), (QStringList{placeholder, a.name}));
    choice.hidePopup();
    QCoreApplication::processEvents();
    EXPECT_EQ(items(choice), (QStringList{placeholder, b.name}));
}

TEST(PrinterChoice, AChoiceMadeInAnOldListIsThePrinterThatTheUserSaw)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::list);
    choice.setPrinters(list({a}));
    choice.show();
    choice.showPopup();
    choice.setPrinters(list({b}));
    QTest::keyClick(choice.view(), Qt::Key_Down);
    QTest::keyClick(choice.view(), Qt::Key_Return);
    EXPECT_EQ(choice.chosen(), a);
    QCoreApplication::processEvents();
    EXPECT_EQ(choice.chosen(), a);
    EXPECT_EQ(choice.currentText(), a.name);
    EXPECT_EQ(items(choice), (QStringList{placeholder, b.name, a.name}));
}

TEST(PrinterChoice, ShowsWholeNamesInToolTips)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    const USBPrinter named{a.uri, QString(256, u'W')};
    choice.setPrinters(list({named}));
    EXPECT_EQ(choice.itemData(1, Qt::ToolTipRole).toString(), toolTipText(named.name));
    const int before = PrinterChoice(placeholder, PrinterChoice::Missing::hide).sizeHint().width();
    EXPECT_EQ(choice.sizeHint().width(), before) << "a long name must not widen the window";
}

TEST(PrinterChoice, TakesNoNameHeardOverTheAirForMarkupInItsToolTips)
{
    const QString name = QStringLiteral("<img src=file:/dev/null> & <b>B</b>") + QString(40, u'W');
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({USBPrinter{a.uri, name}}));
    choice.setCurrentIndex(1);
    choice.resize(120, 30);
    choice.show();
    QHelpEvent hover(QEvent::ToolTip, QPoint(5, 5), choice.mapToGlobal(QPoint(5, 5)));
    QCoreApplication::sendEvent(&choice, &hover);
    for (const QString& tip : {choice.itemData(1, Qt::ToolTipRole).toString(), QToolTip::text()}) {
        EXPECT_TRUE(Qt::mightBeRichText(tip));
        EXPECT_FALSE(tip.contains(QStringLiteral("<img"))) << tip.toStdString();
        QTextDocument shown;
        shown.setHtml(tip);
        EXPECT_EQ(shown.toPlainText(), name);
    }
    QToolTip::hideText();
}

TEST(PrinterChoice, IsNotChangedByTheWheel)
{
    PrinterChoice choice(placeholder, PrinterChoice::Missing::hide);
    choice.setPrinters(list({a, b}));
    QWheelEvent turn(
        QPointF(5, 5), QPointF(5, 5), {}, QPoint(0, -120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&choice, &turn);
    EXPECT_EQ(choice.currentIndex(), 0);
    EXPECT_FALSE(turn.isAccepted());
}
