#include "app/window/AlertSheet.h"

#include "support/VirtualQueue.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

class AlertSheetTest : public ::testing::Test {
protected:
    AlertSheetTest() { parent.show(); }

    void open(const SheetText& text)
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // the one before
        handle =
            AlertSheet::open(&parent, main, text, [this](SheetResponse response) { responses.push_back(response); });
        sheet = parent.findChild<QDialog*>();
        QCoreApplication::processEvents(); // its window becomes active
    }
    void openApproval()
    {
        open({.message = QStringLiteral("Allow this store to print?"),
            .informative = QStringLiteral("https://shop.example.com"),
            .buttons = {QStringLiteral("Allow store"), QStringLiteral("Cancel")},
            .safe = SheetResponse::second,
            .isDeliberate = true});
    }
    void openQuestion()
    {
        open({.message = QStringLiteral("Disconnect?"),
            .buttons = {QStringLiteral("Cancel"), QStringLiteral("Disconnect")},
            .safe = SheetResponse::first});
    }

    QPushButton* button(const QString& text) const
    {
        for (auto* const each : sheet->findChildren<QPushButton*>()) {
            if (each->text() == text)
                return each;
        }
        return nullptr;
    }
    QPushButton* allow() const { return button(QStringLiteral("Allow store")); }
    QPushButton* cancel() const { return button(QStringLiteral("Cancel")); }
    /// To whoever has the keyboard.
    void press(Qt::Key key)
    {
        QTest::keyClick(sheet->focusWidget() ? sheet->focusWidget() : static_cast<QWidget*>(sheet), key);
    }

    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue main{clock};
    QWidget parent;
    std::unique_ptr<OpenSheet> handle;
    QPointer<QDialog> sheet;
    std::vector<SheetResponse> responses;
};

using Responses = std::vector<SheetResponse>;

} // namespace

TEST_F(AlertSheetTest, IsWindowModalAndShowsItsTextsAndButtonsInTheirOrder)
{
    openApproval();
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->windowModality(), Qt::WindowModal);
    EXPECT_EQ(sheet->parentWidget(), &parent);
    EXPECT_EQ(
        sheet->findChild<QLabel*>(QStringLiteral("message"))->text(), QStringLiteral("Allow this store to print?"));
    EXPECT_EQ(
        sheet->findChild<QLabel*>(QStringLiteral("informative"))->text(), QStringLiteral("https://shop.example.com"));
    EXPECT_LT(allow()->mapTo(sheet, QPoint()).x(), cancel()->mapTo(sheet, QPoint()).x());
    EXPECT_EQ(sheet->accessibleName(), QStringLiteral("Allow this store to print?"));
    EXPECT_EQ(sheet->accessibleDescription(), QStringLiteral("https://shop.example.com"));
}

TEST_F(AlertSheetTest, HasTheSafeButtonAsItsDefault)
{
    openApproval();
    EXPECT_TRUE(cancel()->isDefault());
    EXPECT_FALSE(allow()->isDefault());
    EXPECT_FALSE(allow()->autoDefault());
    EXPECT_EQ(sheet->focusWidget(), cancel());
}

TEST_F(AlertSheetTest, AnswersTheButtonThatIsClicked)
{
    openApproval();
    clock->advance(AlertSheet::settleTime);
    QTest::mouseClick(allow(), Qt::LeftButton);
    EXPECT_EQ(responses, Responses{SheetResponse::first});
    EXPECT_FALSE(sheet->isVisible());
    handle.reset();
    openApproval();
    QTest::mouseClick(cancel(), Qt::LeftButton);
    EXPECT_EQ(responses.at(1), SheetResponse::second);
}

TEST_F(AlertSheetTest, TakesNoClickOnAllowRightAfterItHasAppeared)
{
    openApproval();
    clock->advance(AlertSheet::settleTime - 1ns);
    EXPECT_FALSE(allow()->isEnabled());
    QTest::mouseClick(allow(), Qt::LeftButton);
    EXPECT_TRUE(responses.empty());
    clock->advance(1ns);
    EXPECT_TRUE(allow()->isEnabled());
}

TEST_F(AlertSheetTest, IgnoresKeysRightAfterItHasAppeared)
{
    openApproval();
    clock->advance(AlertSheet::settleTime - 1ns);
    for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter, Qt::Key_Escape})
        press(key);
    EXPECT_TRUE(responses.empty());
    EXPECT_EQ(sheet->focusWidget(), cancel());
}

TEST_F(AlertSheetTest, IsAllowedByTabAndSpace)
{
    openApproval();
    clock->advance(AlertSheet::settleTime);
    press(Qt::Key_Tab);
    EXPECT_EQ(sheet->focusWidget(), allow());
    press(Qt::Key_Space);
    EXPECT_EQ(responses, Responses{SheetResponse::first});
}

TEST_F(AlertSheetTest, EnterNeverAllows)
{
    openApproval();
    clock->advance(AlertSheet::settleTime);
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    press(Qt::Key_Enter);
    EXPECT_TRUE(responses.empty());
    EXPECT_TRUE(sheet->isVisible());
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    EXPECT_EQ(responses, Responses{SheetResponse::second});
}

TEST_F(AlertSheetTest, NothingIsAllowedInTheMidstOfTyping)
{
    openApproval();
    clock->advance(10s);
    press(Qt::Key_Tab);
    for (const Qt::Key key :
        {Qt::Key_J, Qt::Key_O, Qt::Key_E, Qt::Key_Space, Qt::Key_Tab, Qt::Key_Space, Qt::Key_Return})
        press(key);
    EXPECT_TRUE(responses.empty());
    EXPECT_EQ(sheet->focusWidget(), cancel());
    clock->advance(AlertSheet::settleTime);
    press(Qt::Key_Return);
    EXPECT_EQ(responses, Responses{SheetResponse::second});
}

TEST_F(AlertSheetTest, AKeyThatIsHeldDownAllowsNothing)
{
    openApproval();
    clock->advance(AlertSheet::settleTime);
    press(Qt::Key_Tab);
    QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), true);
    QCoreApplication::sendEvent(allow(), &repeated);
    QKeyEvent released(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
    QCoreApplication::sendEvent(sheet->focusWidget(), &released);
    EXPECT_TRUE(responses.empty());
}

TEST_F(AlertSheetTest, IgnoresKeysRightAfterItHasBecomeTheActiveWindow)
{
    openApproval();
    clock->advance(10s);
    press(Qt::Key_Tab);
    QEvent activated(QEvent::WindowActivate);
    QCoreApplication::sendEvent(sheet, &activated);
    press(Qt::Key_Space);
    EXPECT_TRUE(responses.empty());
    EXPECT_EQ(sheet->focusWidget(), cancel());
}

TEST_F(AlertSheetTest, EscapeIsTheSafeAnswer)
{
    openApproval();
    clock->advance(AlertSheet::settleTime);
    press(Qt::Key_Escape);
    EXPECT_EQ(responses, Responses{SheetResponse::second});
}

TEST_F(AlertSheetTest, ClosingItsWindowIsTheSafeAnswer)
{
    openQuestion();
    static_cast<QWidget*>(sheet)->close();
    EXPECT_EQ(responses, Responses{SheetResponse::first});
}

TEST_F(AlertSheetTest, AnOrdinaryQuestionNeedsNoPatience)
{
    openQuestion();
    EXPECT_TRUE(cancel()->isDefault());
    QTest::mouseClick(button(QStringLiteral("Disconnect")), Qt::LeftButton);
    EXPECT_EQ(responses, Responses{SheetResponse::second});
}

TEST_F(AlertSheetTest, ClosesUnansweredWithItsHandle)
{
    openApproval();
    handle.reset();
    EXPECT_FALSE(sheet->isVisible());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(sheet.isNull());
    EXPECT_TRUE(responses.empty());
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(AlertSheetTest, AnswersOnceWhenItsHandleDiesOfTheAnswer)
{
    handle = AlertSheet::open(&parent, main, {.message = QStringLiteral("Error"), .buttons = {QStringLiteral("OK")}},
        [this](SheetResponse response) {
            handle.reset();
            responses.push_back(response);
        });
    sheet = parent.findChild<QDialog*>();
    QTest::mouseClick(button(QStringLiteral("OK")), Qt::LeftButton);
    EXPECT_EQ(responses, Responses{SheetResponse::first});
}

TEST_F(AlertSheetTest, TakesNoTextForMarkup)
{
    const QString foreign = QStringLiteral("<img src=file:/dev/null>");
    open({.message = foreign, .informative = foreign, .buttons = {QStringLiteral("OK")}});
    for (const char* name : {"message", "informative"}) {
        const auto* const label = sheet->findChild<QLabel*>(QString::fromLatin1(name));
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
        EXPECT_EQ(label->text(), foreign);
    }
}

TEST_F(AlertSheetTest, SurvivesThatItsWindowGoesFirst)
{
    auto window = std::make_unique<QWidget>();
    handle = AlertSheet::open(
        window.get(), main, {.message = QStringLiteral("Error"), .buttons = {QStringLiteral("OK")}}, {});
    window.reset();
    handle.reset();
}

TEST_F(AlertSheetTest, ShowsTheWholeOfALongAddress)
{
    const QString origin = QStringLiteral("https://") + QString(63, u'a') + u'.' + QString(63, u'b') + u'.'
        + QString(63, u'c') + QStringLiteral(".example.com");
    open({.message = QStringLiteral("Allow this store to print?"),
        .informative = origin,
        .buttons = {QStringLiteral("Allow store"), QStringLiteral("Cancel")},
        .safe = SheetResponse::second});
    auto* const label = sheet->findChild<QLabel*>(QStringLiteral("informative"));
    EXPECT_LE(sheet->width(), 600);
    EXPECT_GE(label->height(), label->heightForWidth(label->width()));
    EXPECT_EQ(label->text().remove(QChar(0x200B)), origin);
}
