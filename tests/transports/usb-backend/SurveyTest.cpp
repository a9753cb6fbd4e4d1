#include "transports/linux/usb-backend/Survey.h"

#include <csignal>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

namespace harrowmint::test {
namespace {

using namespace std::chrono_literals;
using usb::chosen;
using usb::PrinterLocation;
using usb::PrinterTexts;
using usb::PrinterURI;
using usb::survey;
using usb::SurveyedPrinter;
using usb::SurveyOptions;
using Clock = std::chrono::steady_clock;

const PrinterLocation first{"1-1", 1, 1, 0};
const PrinterLocation second{"1-2", 1, 2, 0};
const PrinterLocation third{"1-3", 1, 3, 0};

PrinterTexts texts(const std::string& serial, const std::string& id = "MFG:A;MDL:B;")
{
    return {"Maker", "Model", serial, id};
}

class SurveyTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        while (::waitpid(-1, nullptr, 0) > 0) { } // all of them end
    }
};

TEST_F(SurveyTest, GivesEachPrinterItsTextsInTheOrderAskedFor)
{
    SurveyOptions options;
    options.limit = 60s;
    options.ask = [](const PrinterLocation& printer, const auto& report) { report(texts(printer.port)); };
    const auto found = survey({first, second, third}, options);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].texts, texts("1-1"));
    EXPECT_EQ(found[1].texts, texts("1-2"));
    EXPECT_EQ(found[2].texts, texts("1-3"));
    EXPECT_TRUE(found[0].isFinal && found[1].isFinal && found[2].isFinal);
}

TEST_F(SurveyTest, DoesNotWaitForAPrinterThatHangsLongerThanItsLimit)
{
    SurveyOptions options;
    options.limit = 300ms;
    options.ask = [](const PrinterLocation& printer, const auto& report) {
        if (printer == second)
            ::pause();
        report(texts(printer.port));
    };
    const auto found = survey({first, second, third}, options);
    EXPECT_EQ(found[1].texts, std::nullopt);
    EXPECT_FALSE(found[1].isFinal);
}

TEST_F(SurveyTest, KeepsWhatAPrinterSaidBeforeItHung)
{
    SurveyOptions options;
    options.limit = 60s;
    options.isEnough = [](const auto& printers) { return printers[0].texts.has_value(); };
    options.ask = [](const PrinterLocation&, const auto& report) {
        report(texts("S", ""));
        ::pause();
    };
    EXPECT_EQ(survey({first}, options)[0].texts, texts("S", ""));
}

TEST_F(SurveyTest, TakesTheLastOfSeveralReports)
{
    SurveyOptions options;
    options.limit = 60s;
    options.ask = [](const PrinterLocation&, const auto& report) {
        report(texts("S", ""));
        report(texts("S", "MFG:Asked;"));
    };
    EXPECT_EQ(survey({first}, options)[0].texts, texts("S", "MFG:Asked;"));
}

TEST_F(SurveyTest, TellsAnUnknownIdFromNone)
{
    SurveyOptions options;
    options.limit = 60s;
    options.ask = [](const PrinterLocation& printer, const auto& report) {
        PrinterTexts none = texts("S", "");
        none.isIdUnknown = printer == first;
        report(none);
    };
    const auto found = survey({first, second}, options);
    ASSERT_TRUE(found[0].texts && found[1].texts);
    EXPECT_TRUE(found[0].texts->isIdUnknown);
    EXPECT_FALSE(found[1].texts->isIdUnknown);
}

TEST_F(SurveyTest, GoesOnWhenAPrintersProcessDies)
{
    SurveyOptions options;
    options.limit = 60s;
    options.ask = [](const PrinterLocation& printer, const auto& report) {
        if (printer == first)
            ::raise(SIGKILL);
        if (printer == second)
            throw std::runtime_error("no libusb");
        report(texts("S"));
    };
    const auto found = survey({first, second, third}, options);
    EXPECT_EQ(found[0].texts, std::nullopt);
    EXPECT_TRUE(found[0].isFinal);
    EXPECT_EQ(found[1].texts, std::nullopt);
    EXPECT_EQ(found[2].texts, texts("S"));
}

TEST_F(SurveyTest, EndsAtOnceWhenItIsStopped)
{
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    ::close(pipe[1]);
    SurveyOptions options;
    options.limit = 60s;
    options.stopDescriptor = pipe[0];
    options.ask = [](const auto&, const auto&) { ::pause(); };
    const auto start = Clock::now();
    static_cast<void>(survey({first}, options));
    EXPECT_LT(Clock::now() - start, 30s);
    ::close(pipe[0]);
}

TEST_F(SurveyTest, OfNobodyIsEmpty)
{
    EXPECT_TRUE(survey({}, {}).empty());
}

SurveyedPrinter answered(const PrinterLocation& location, const PrinterTexts& texts)
{
    return {location, texts, true};
}

TEST(SurveyChoice, IsThePrinterWithTheSerialNumber)
{
    const std::vector<SurveyedPrinter> printers{answered(first, texts("S1")), answered(second, texts("S2"))};
    EXPECT_EQ(chosen({"A", "B", "S2", 0}, printers, false), second);
    EXPECT_EQ(chosen({"A", "B", "S3", 0}, printers, true), std::nullopt);
}

TEST(SurveyChoice, DoesNotWaitForOthersWhereThereIsASerialNumber)
{
    const std::vector<SurveyedPrinter> printers{{first, std::nullopt, false}, answered(second, texts("S2"))};
    EXPECT_EQ(chosen({"A", "B", "S2", 0}, printers, false), second);
}

TEST(SurveyChoice, IsTheFirstOfTwoPrintersThatNobodyCanTellApart)
{
    std::vector<SurveyedPrinter> printers{answered(first, texts("")), answered(second, texts(""))};
    EXPECT_EQ(chosen({"A", "B", "", 0}, printers, false), first);
    printers[0] = {first, std::nullopt, false};
    EXPECT_EQ(chosen({"A", "B", "", 0}, printers, false), std::nullopt) << "the first one may still answer";
    EXPECT_EQ(chosen({"A", "B", "", 0}, printers, true), second);
}

/// What is known of a printer that could not be asked for its device id.
PrinterTexts unasked(const std::string& serial, const std::string& vendor, const std::string& model)
{
    return {vendor, model, serial, "", true};
}

TEST(SurveyChoice, KnowsAPrinterThatNobodyCouldAskByItsSerialNumberAndItsVendorOrModel)
{
    const PrinterURI wanted{"Epson", "TM-T20", "S1", 0};
    for (const auto& [vendor, model] :
        {std::pair("SEIKO EPSON Corp.", "USB printer"), {"epson", ""}, {"", "tm-t20II"}}) {
        const std::vector<SurveyedPrinter> printers{answered(first, unasked("S1", vendor, model))};
        EXPECT_EQ(chosen(wanted, printers, false), std::nullopt) << "a better match may come";
        EXPECT_EQ(chosen(wanted, printers, true), first) << vendor << model;
    }
    EXPECT_EQ(chosen(wanted, {answered(first, unasked("S2", "Epson", "TM-T20"))}, true), std::nullopt);
    EXPECT_EQ(chosen({"Epson", "TM-T20", "S1", 1}, {answered(first, unasked("S1", "Epson", "X"))}, true), std::nullopt);
    EXPECT_EQ(chosen({"Epson", "TM-T20", "", 0}, {answered(first, unasked("", "Epson", "X"))}, true), std::nullopt);
}

TEST(SurveyChoice, DoesNotTakeAPrinterForItsSerialNumberAlone)
{
    for (const auto& [vendor, model] : {std::pair("Star", "TSP100"), {"", ""}, {" ", " "}})
        EXPECT_EQ(
            chosen({"Epson", "TM-T20", "S1", 0}, {answered(first, unasked("S1", vendor, model))}, true), std::nullopt);
    EXPECT_EQ(chosen({"Unknown", "Other", "S1", 0}, {answered(first, unasked("S1", "", ""))}, true), std::nullopt)
        << "names that stand in for missing ones";
}

TEST(SurveyChoice, DoesNotTakeAPrinterThatHasNoDeviceIdForAnother)
{
    EXPECT_EQ(chosen({"Maker", "Other", "S1", 0}, {answered(first, texts("S1", ""))}, true), std::nullopt);
    EXPECT_EQ(chosen({"Maker", "Model", "S1", 0}, {answered(first, texts("S1", ""))}, true), first)
        << "this is its name";
}

TEST(SurveyChoice, TakesNoneOfSeveralPrintersThatMayBeTheOne)
{
    const auto one = answered(first, unasked("S1", "Epson", "X"));
    const PrinterURI wanted{"Epson", "TM-T20", "S1", 0};
    EXPECT_EQ(chosen(wanted, {one, answered(second, unasked("S1", "Star", "Y"))}, true), std::nullopt);
    EXPECT_EQ(chosen(wanted, {one, {second, std::nullopt, false}}, true), std::nullopt);
    EXPECT_EQ(chosen(wanted, {one, answered(second, unasked("S2", "Epson", "X"))}, true), first);
    EXPECT_EQ(chosen(wanted, {one, answered(second, texts("S1"))}, true), first) << "the other is known to be another";
}

TEST(SurveyChoice, WaitsForTheIdOfAPrinterWhoseStringDescriptorsAreTheWantedNames)
{
    SurveyedPrinter printer{first, unasked("S1", "A", "B"), false};
    EXPECT_EQ(chosen({"A", "B", "S1", 0}, {printer}, false), std::nullopt) << "its id may name another model";
    printer.isFinal = true;
    EXPECT_EQ(chosen({"A", "B", "S1", 0}, {printer}, false), first);
}

class SearchTest : public SurveyTest { };

TEST_F(SearchTest, TakesAPrinterThatNobodyCouldAskOnlyWhenTheTimeIsUp)
{
    usb::SearchOptions search;
    search.limit = 600ms;
    search.connected = [] { return std::vector{first}; };
    search.ask = [](const PrinterLocation&, const auto& report) { report(unasked("S1", "Epson", "X")); };
    const auto start = Clock::now();
    EXPECT_EQ(usb::find({"Epson", "TM-T20", "S1", 0}, search), first);
    EXPECT_GE(Clock::now() - start, 400ms);
}

TEST_F(SearchTest, GoesOnUntilThePrinterCanBeAsked)
{
    usb::SearchOptions search;
    search.limit = 60s;
    int looks = 0;
    search.connected = [&looks] {
        ++looks;
        return std::vector{first, second};
    };
    search.ask = [&looks](const PrinterLocation& printer, const auto& report) {
        if (looks < 3 || printer == first)
            report(unasked("S1", "A", "X"));
        else
            report(texts("S1"));
    };
    EXPECT_EQ(usb::find({"A", "B", "S1", 0}, search), second);
    EXPECT_EQ(looks, 3);
}

TEST(SurveyChoice, FindsAPrinterWhoseTextsLookLikeOptionsOfItsAddress)
{
    const PrinterTexts odd = texts("S&interface=2", "MFG:A;MDL:B?serial=1;");
    const auto listed = usb::parsePrinterURI(usb::encoded(usb::printerURI(odd, 0)));
    ASSERT_TRUE(listed);
    EXPECT_EQ(chosen(*listed, {answered(first, odd)}, false), first);
}

TEST(SurveyChoice, DoesNotTakeAnotherModelWithTheSameSerialNumber)
{
    EXPECT_EQ(chosen({"A", "Other", "S1", 0}, {answered(first, texts("S1"))}, true), std::nullopt);
}

} // namespace
} // namespace harrowmint::test
