#include "app/window/PrinterList.h"

#include <gtest/gtest.h>

using namespace harrowmint;

namespace {

const auto leURI = QStringLiteral("ble:0F8FAD5B-D9CB-469F-A165-70867728950E");
const auto serialURI = QStringLiteral("spp:00112233AABB");

QStringList titles(const std::vector<ListedPrinter>& list)
{
    QStringList result;
    for (const ListedPrinter& each : list)
        result.append(each.title);
    return result;
}

} // namespace

TEST(PrinterList, HasOneItemForEachUsbPrinterInTheirOrder)
{
    const USBPrinter b{QStringLiteral("usb://B/1"), QStringLiteral("B")};
    const USBPrinter a{QStringLiteral("usb://A/1"), QStringLiteral("A")};
    const std::vector<ListedPrinter> expected{{b, b.name}, {a, a.name}};
    EXPECT_EQ(usbPrinterList({b, a}), expected);
}

TEST(PrinterList, ShowsASavedReceiptPrinterWithoutANameAsSaved)
{
    EXPECT_EQ(titles(receiptPrinterList({}, {}, USBPrinter{serialURI, {}})),
        QStringList{QStringLiteral("Saved receipt printer")});
    EXPECT_EQ(titles(receiptPrinterList({}, {}, USBPrinter{leURI, {}})),
        QStringList{QStringLiteral("Saved receipt printer (Bluetooth LE)")});
}

TEST(PrinterList, KeepsTheSuffixOutOfWhatIsSaved)
{
    const auto list = receiptPrinterList({}, {{leURI, QStringLiteral("MPT-II")}}, {});
    EXPECT_EQ(list.at(0).title, QStringLiteral("MPT-II (Bluetooth LE)"));
    EXPECT_EQ(list.at(0).printer.name, QStringLiteral("MPT-II"));
}

TEST(PrinterList, ShowsASavedPrinterThatWasFoundOnceByItsCurrentName)
{
    const SavedPrinter saved = USBPrinter{leURI, QStringLiteral("Old")};
    EXPECT_EQ(titles(receiptPrinterList({}, {{leURI, QStringLiteral("New")}}, saved)),
        QStringList{QStringLiteral("New (Bluetooth LE)")});
    EXPECT_EQ(titles(labelPrinterList({{leURI, QStringLiteral("New")}}, saved)), QStringList{QStringLiteral("New")});
    const SavedPrinter paired = USBPrinter{serialURI, QStringLiteral("Old")};
    EXPECT_EQ(titles(receiptPrinterList({{serialURI, QStringLiteral("New")}}, {}, paired)),
        QStringList{QStringLiteral("New")});
}

TEST(PrinterList, PrefersTheSavedNameToAStandIn)
{
    const SavedPrinter saved = USBPrinter{leURI, QStringLiteral("Till")};
    EXPECT_EQ(titles(receiptPrinterList({}, {{leURI, QStringLiteral("Saved receipt printer")}}, saved)),
        QStringList{QStringLiteral("Till (Bluetooth LE)")});
    EXPECT_EQ(titles(labelPrinterList({{leURI, QStringLiteral("Label printer")}}, saved)),
        QStringList{QStringLiteral("Till")});
}

TEST(PrinterList, ShowsASavedLabelPrinterThatWasNotFound)
{
    const USBPrinter found{QStringLiteral("ble:7C9E6679-7425-40DE-944B-E07FC1F90AE7"), QStringLiteral("Other")};
    EXPECT_EQ(titles(labelPrinterList({found}, USBPrinter{leURI, {}})),
        (QStringList{QStringLiteral("Other"), QStringLiteral("Saved label printer")}));
}

TEST(PrinterList, AnAbsentOrEmptyAddressIsNoSavedPrinter)
{
    EXPECT_EQ(savedPrinter({}, QStringLiteral("Name")), std::nullopt);
    EXPECT_EQ(savedPrinter(QString(), QStringLiteral("Name")), std::nullopt);
    EXPECT_EQ(savedPrinter(leURI, {}), (USBPrinter{leURI, {}}));
}
