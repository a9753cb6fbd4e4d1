#include "app/PrinterRefresh.h"

#include "support/FaultyFileSystem.h"
#include "support/VirtualQueue.h"

#include <gtest/gtest.h>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;

namespace {

const auto directory = QStringLiteral("/data");
const auto labelURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
const auto receiptURI = QStringLiteral("ble:7C9E6679-7425-40DE-944B-E07FC1F90AE7");
const USBPrinter usbPrinter{QStringLiteral("usb://Acme/TM?serial=1"), QStringLiteral("Acme TM")};
const USBPrinter pairedPrinter{QStringLiteral("spp:00112233AABB"), QStringLiteral("Till (paired serial)")};
const USBPrinter lePrinter{receiptURI, QStringLiteral("MPT-II")};
const USBPrinter labelPrinter{labelURI, QStringLiteral("Label 4B")};
const auto noneFoundText = QStringLiteral("No USB printer found. Check power and cable, then Refresh.");
const auto failedText = QStringLiteral("USB discovery failed. Check the printer connection and try Refresh.");

class RecordedView final : public PrinterListsView {
public:
    void clearUSBPrinters() override
    {
        usb.clear();
        ++usbCleared;
    }
    void showUSBPrinters(const std::vector<ListedPrinter>& printers) override
    {
        usb = titles(printers);
        ++usbShown;
    }
    void showReceiptPrinters(const std::vector<ListedPrinter>& printers) override { receipts = titles(printers); }
    void showLabelPrinters(const std::vector<ListedPrinter>& printers) override { labels = titles(printers); }
    void showRefreshing(const Refreshing& state) override { refreshing = state; }
    void showActivity(const QString& text) override { activities.append(text); }

    int usbCleared = 0;
    int usbShown = 0;
    QStringList usb{QStringLiteral("untouched")};
    QStringList receipts{QStringLiteral("untouched")};
    QStringList labels{QStringLiteral("untouched")};
    Refreshing refreshing;
    QStringList activities;

private:
    static QStringList titles(const std::vector<ListedPrinter>& printers)
    {
        QStringList result;
        for (const ListedPrinter& each : printers)
            result.append(each.title);
        return result;
    }
};

/// Discoveries that end when the test says so.
struct ScriptedDiscovery {
    std::vector<PrinterDiscovery::Completion> usb;
    std::vector<PrinterDiscovery::Completion> paired;
    std::vector<PrinterDiscovery::Completion> lowEnergy;
    std::vector<PrinterDiscovery::Completion> labels;
    std::optional<QString> receiptSelected;
    std::optional<QString> labelSelected;

    PrinterDiscovery seam()
    {
        using Completion = PrinterDiscovery::Completion;
        return {
            .usb = [this](Completion completion) { usb.push_back(std::move(completion)); },
            .pairedSerial = [this](Completion completion) { paired.push_back(std::move(completion)); },
            .receiptsBLE =
                [this](const std::optional<QString>& selected, Completion completion) {
                    receiptSelected = selected;
                    lowEnergy.push_back(std::move(completion));
                },
            .labels =
                [this](const std::optional<QString>& selected, Completion completion) {
                    labelSelected = selected;
                    labels.push_back(std::move(completion));
                },
        };
    }
};

class PrinterRefreshTest : public ::testing::Test {
protected:
    void save(const std::function<void(PrinterSettings&)>& change)
    {
        PrinterSettings changed = settings.value();
        change(changed);
        settings.save(changed);
    }
    void chooseLabelPrinter(const std::optional<QString>& name)
    {
        save([&](PrinterSettings& s) {
            s.labelPrinterURI = labelURI;
            s.labelPrinterName = name;
        });
    }
    void endBluetooth()
    {
        discovery.paired.back()({});
        discovery.lowEnergy.back()({});
        discovery.labels.back()({});
    }

    FaultyFileSystem files;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    VirtualQueue main{clock};
    SavedSettings settings{directory, files};
    ScriptedDiscovery discovery;
    RecordedView view;
    bool busy = false;
    std::optional<PrinterRefresh> refresh{
        std::in_place, main, discovery.seam(), settings, [this] { return busy; }, static_cast<PrinterListsView&>(view)};
};

using Titles = QStringList;

} // namespace

TEST_F(PrinterRefreshTest, EmptiesTheUsbListAndFillsItWithWhatIsFound)
{
    refresh->refreshDevices();
    EXPECT_EQ(view.usb, Titles());
    EXPECT_EQ(view.usbCleared, 1);
    EXPECT_EQ(view.usbShown, 0) << "an empty list would say that no printer is there";
    EXPECT_EQ(view.refreshing, (Refreshing{.devices = true}));
    discovery.usb.at(0)({{usbPrinter, usbPrinter}});
    EXPECT_EQ(view.usb, (Titles{usbPrinter.name, usbPrinter.name}));
    EXPECT_FALSE(view.refreshing.devices);
    EXPECT_TRUE(view.activities.isEmpty());
}

TEST_F(PrinterRefreshTest, RefreshesTheBluetoothListsAfterTheUsbList)
{
    refresh->refreshDevices();
    EXPECT_TRUE(discovery.labels.empty());
    EXPECT_EQ(view.labels, Titles{QStringLiteral("untouched")});
    discovery.usb.at(0)({{usbPrinter}});
    EXPECT_EQ(discovery.labels.size(), 1u);
    EXPECT_EQ(discovery.lowEnergy.size(), 1u);
    EXPECT_EQ(discovery.paired.size(), 1u);
    EXPECT_EQ(view.refreshing, (Refreshing{.receipts = true, .labels = true}));
}

TEST_F(PrinterRefreshTest, SaysThatNoUsbPrinterWasFound)
{
    refresh->refreshDevices();
    discovery.usb.at(0)(std::vector<USBPrinter>());
    EXPECT_EQ(view.activities, QStringList{noneFoundText});
    EXPECT_EQ(discovery.labels.size(), 1u);
}

TEST_F(PrinterRefreshTest, SaysThatUsbDiscoveryFailedAndGoesOnWithBluetooth)
{
    refresh->refreshDevices();
    discovery.usb.at(0)({});
    EXPECT_EQ(view.activities, QStringList{failedText});
    EXPECT_EQ(view.usb, Titles());
    EXPECT_EQ(view.usbShown, 0) << "nothing is known of what is there";
    EXPECT_EQ(discovery.labels.size(), 1u);
}

TEST_F(PrinterRefreshTest, TakesADiscoveryThatThrowsAsFailed)
{
    auto seam = discovery.seam();
    seam.usb = [](const PrinterDiscovery::Completion&) { throw std::system_error(EMFILE, std::generic_category()); };
    refresh.emplace(
        main, seam, settings, [] { return false; }, static_cast<PrinterListsView&>(view));
    refresh->refreshDevices();
    EXPECT_EQ(view.activities, QStringList{failedText});
    EXPECT_FALSE(view.refreshing.devices);
}

TEST_F(PrinterRefreshTest, TakesResultsThatComeWithinTheCall)
{
    PrinterDiscovery seam;
    seam.usb = [](const auto& completion) { completion({{usbPrinter}}); };
    seam.pairedSerial = [](const auto& completion) { completion({{pairedPrinter}}); };
    seam.labels = [](const auto&, const auto& completion) { completion({{labelPrinter}}); };
    refresh.emplace(
        main, seam, settings, [] { return false; }, static_cast<PrinterListsView&>(view));
    refresh->refreshDevices();
    EXPECT_EQ(view.usb, Titles{usbPrinter.name});
    EXPECT_EQ(view.receipts, Titles{pairedPrinter.name});
    EXPECT_EQ(view.labels, Titles{labelPrinter.name});
    EXPECT_EQ(view.refreshing, Refreshing{});
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(PrinterRefreshTest, DoesNothingWhileAJobRuns)
{
    busy = true;
    refresh->refreshDevices();
    refresh->refreshLabels();
    EXPECT_TRUE(discovery.usb.empty());
    EXPECT_TRUE(discovery.labels.empty());
    EXPECT_EQ(view.usb, Titles{QStringLiteral("untouched")});
    EXPECT_EQ(view.receipts, Titles{QStringLiteral("untouched")});
}

TEST_F(PrinterRefreshTest, LeavesTheActivityLineToAJobThatHasBegunMeanwhile)
{
    refresh->refreshDevices();
    busy = true;
    discovery.usb.at(0)(std::vector<USBPrinter>());
    EXPECT_TRUE(view.activities.isEmpty());
    EXPECT_TRUE(discovery.labels.empty());
    EXPECT_EQ(view.refreshing, Refreshing{});
}

TEST_F(PrinterRefreshTest, ListsUsbOnceHoweverOftenItIsAsked)
{
    refresh->refreshDevices();
    refresh->refreshDevices();
    EXPECT_EQ(discovery.usb.size(), 1u);
}

TEST_F(PrinterRefreshTest, NeverStartsASecondScanWhileOneRuns)
{
    refresh->refreshLabels();
    EXPECT_TRUE(refresh->refreshingLabels());
    refresh->refreshLabels();
    refresh->refreshDevices();
    discovery.usb.at(0)({{usbPrinter}});
    EXPECT_EQ(discovery.labels.size(), 1u);
    EXPECT_EQ(discovery.lowEnergy.size(), 1u);
    endBluetooth();
    EXPECT_FALSE(refresh->refreshingLabels());
    refresh->refreshLabels();
    EXPECT_EQ(discovery.labels.size(), 2u);
}

TEST_F(PrinterRefreshTest, ReadsThePairedPrintersAnewDuringAScan)
{
    refresh->refreshLabels();
    discovery.paired.at(0)(std::vector<USBPrinter>());
    refresh->refreshLabels();
    ASSERT_EQ(discovery.paired.size(), 2u);
    EXPECT_EQ(discovery.lowEnergy.size(), 1u);
    discovery.paired.at(1)({{pairedPrinter}});
    EXPECT_EQ(view.receipts, Titles{pairedPrinter.name});
}

TEST_F(PrinterRefreshTest, ShowsTheSavedBluetoothPrintersWhileTheScanRuns)
{
    chooseLabelPrinter(QStringLiteral("Label 4B"));
    save([](PrinterSettings& s) { s.bluetoothReceiptURI = receiptURI; });
    refresh->refreshLabels();
    EXPECT_EQ(view.receipts, Titles{QStringLiteral("Saved receipt printer (Bluetooth LE)")});
    EXPECT_EQ(view.labels, Titles{QStringLiteral("Label 4B")});
    EXPECT_EQ(discovery.receiptSelected, receiptURI);
    EXPECT_EQ(discovery.labelSelected, labelURI);
}

TEST_F(PrinterRefreshTest, ListsPairedSavedAndLePrintersAsTheyAreFound)
{
    save([](PrinterSettings& s) {
        s.bluetoothReceiptURI = QStringLiteral("spp:FFEEDDCCBBAA");
        s.bluetoothReceiptName = QStringLiteral("Old (paired serial)");
    });
    refresh->refreshLabels();
    discovery.lowEnergy.at(0)({{lePrinter}});
    EXPECT_EQ(view.receipts, (Titles{QStringLiteral("Old (paired serial)"), QStringLiteral("MPT-II (Bluetooth LE)")}));
    EXPECT_TRUE(view.refreshing.receipts);
    discovery.paired.at(0)({{pairedPrinter}});
    EXPECT_EQ(view.receipts,
        (Titles{pairedPrinter.name, QStringLiteral("Old (paired serial)"), QStringLiteral("MPT-II (Bluetooth LE)")}));
    EXPECT_FALSE(view.refreshing.receipts);
}

TEST_F(PrinterRefreshTest, AUsbListingThatNeverEndsIsGivenUpAfterItsLimit)
{
    refresh->refreshDevices();
    clock->advance(PrinterRefresh::usbLimit - 1ns);
    EXPECT_TRUE(view.refreshing.devices);
    clock->advance(1ns);
    EXPECT_FALSE(view.refreshing.devices);
    EXPECT_EQ(view.activities, QStringList{failedText});
    discovery.usb.at(0)({{usbPrinter}}); // too late
    EXPECT_EQ(view.usb, Titles());
    refresh->refreshDevices();
    EXPECT_EQ(discovery.usb.size(), 2u);
}

TEST_F(PrinterRefreshTest, AScanWhoseCompletionNeverComesIsGivenUpAfterItsLimit)
{
    chooseLabelPrinter(QStringLiteral("Label 4B"));
    refresh->refreshLabels();
    clock->advance(PrinterRefresh::bluetoothLimit - 1ns);
    EXPECT_EQ(view.refreshing, (Refreshing{.receipts = true, .labels = true}));
    clock->advance(1ns);
    EXPECT_EQ(view.refreshing, Refreshing{});
    EXPECT_FALSE(refresh->refreshingLabels());
    EXPECT_EQ(view.labels, Titles{QStringLiteral("Label 4B")});
    EXPECT_TRUE(view.activities.isEmpty());
    discovery.labels.at(0)({{USBPrinter{labelURI, QStringLiteral("Late")}}});
    EXPECT_EQ(view.labels, Titles{QStringLiteral("Label 4B")});
}

TEST_F(PrinterRefreshTest, AScanWhoseCompletionIsDestroyedUncalledIsGivenUpToo)
{
    refresh->refreshLabels();
    discovery.labels.clear();
    discovery.lowEnergy.clear();
    discovery.paired.clear();
    clock->advance(PrinterRefresh::bluetoothLimit);
    EXPECT_EQ(view.refreshing, Refreshing{});
}

TEST_F(PrinterRefreshTest, AResultOfAnEarlierScanDoesNotEndALaterOne)
{
    refresh->refreshLabels();
    clock->advance(PrinterRefresh::bluetoothLimit);
    refresh->refreshLabels();
    discovery.labels.at(0)({{labelPrinter}});
    EXPECT_TRUE(refresh->refreshingLabels());
    EXPECT_EQ(view.labels, Titles());
}

TEST_F(PrinterRefreshTest, NothingIsScheduledWhenNothingIsRefreshed)
{
    refresh->refreshDevices();
    discovery.usb.at(0)({{usbPrinter}});
    endBluetooth();
    EXPECT_EQ(clock->pending(), 0u);
}

TEST_F(PrinterRefreshTest, ResultsThatComeAfterTheWindowIsGoneAreDropped)
{
    refresh->refreshDevices();
    refresh.reset();
    discovery.usb.at(0)({{usbPrinter}});
    EXPECT_EQ(view.usb, Titles());
}

TEST_F(PrinterRefreshTest, SavesTheCurrentNameOfTheSavedLabelPrinter)
{
    chooseLabelPrinter(QStringLiteral("Old name"));
    refresh->refreshLabels();
    discovery.labels.at(0)({{labelPrinter, lePrinter}});
    EXPECT_EQ(settings.value().labelPrinterName, labelPrinter.name);
    EXPECT_EQ(PrinterSettings::load(directory, files).labelPrinterName, labelPrinter.name);
    EXPECT_EQ(view.labels, (Titles{labelPrinter.name, lePrinter.name}));
}

TEST_F(PrinterRefreshTest, NeverChoosesANewLabelPrinterByItself)
{
    refresh->refreshLabels();
    const int operations = files.operations();
    discovery.labels.at(0)({{labelPrinter}});
    EXPECT_EQ(settings.value().labelPrinterURI, std::nullopt);
    EXPECT_EQ(files.operations(), operations);
}

TEST_F(PrinterRefreshTest, SaysThatTheDiscoveredLabelPrinterCouldNotBeSaved)
{
    chooseLabelPrinter(QStringLiteral("Old name"));
    refresh->refreshLabels();
    files.failOperation(files.operations() + 1, true);
    discovery.labels.at(0)({{labelPrinter}});
    EXPECT_EQ(view.activities, QStringList{QStringLiteral("Could not save the discovered label printer.")});
    EXPECT_EQ(settings.value().labelPrinterName, QStringLiteral("Old name"));
    EXPECT_EQ(view.refreshing.labels, false);
}

TEST_F(PrinterRefreshTest, NeverSavesWhatANamelessPrinterIsCalled)
{
    for (const auto& standIn : {QStringLiteral("Saved label printer"), QStringLiteral("Label printer"), QString()}) {
        chooseLabelPrinter(QStringLiteral("Known"));
        refresh->refreshLabels();
        discovery.labels.back()({{USBPrinter{labelURI, standIn}}});
        EXPECT_EQ(settings.value().labelPrinterName, QStringLiteral("Known"));
        EXPECT_EQ(view.labels, Titles{QStringLiteral("Known")});
    }
}

TEST_F(PrinterRefreshTest, WritesNoFileWhenTheNameIsTheSavedOne)
{
    chooseLabelPrinter(labelPrinter.name);
    refresh->refreshLabels();
    const int operations = files.operations();
    discovery.labels.at(0)({{labelPrinter}});
    EXPECT_EQ(files.operations(), operations);
}

TEST_F(PrinterRefreshTest, SavesNothingWhileAJobRuns)
{
    chooseLabelPrinter(QStringLiteral("Old name"));
    refresh->refreshLabels();
    busy = true; // a label job ends the scan with what it has found
    discovery.labels.at(0)({{labelPrinter}});
    EXPECT_EQ(settings.value().labelPrinterName, QStringLiteral("Old name"));
    EXPECT_FALSE(refresh->refreshingLabels());
}

TEST_F(PrinterRefreshTest, LooksForNothingThatTheAgentCannotFind)
{
    refresh.emplace(
        main, PrinterDiscovery(), settings, [] { return false; }, static_cast<PrinterListsView&>(view));
    refresh->refreshDevices();
    EXPECT_EQ(view.refreshing, Refreshing{});
    EXPECT_TRUE(view.activities.isEmpty());
}
