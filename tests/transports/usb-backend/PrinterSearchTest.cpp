#include "transports/linux/usb-backend/PrinterSearch.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdlib.h>

namespace harrowmint::test {
namespace {

using usb::connectedPrinters;
using usb::knownTexts;
using usb::PrinterLocation;
using usb::PrinterTexts;

/// A folder that looks like the kernel's.
class PrinterSearch : public ::testing::Test {
protected:
    PrinterSearch()
    {
        m_folder = std::filesystem::temp_directory_path() / "printer-search-XXXXXX";
        EXPECT_NE(::mkdtemp(m_folder.data()), nullptr);
    }
    ~PrinterSearch() override { std::filesystem::remove_all(m_folder); }

    void attribute(const std::string& path, const std::string& value) const
    {
        const std::filesystem::path file = m_folder + '/' + path;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << value;
    }
    void device(const std::string& port, int bus, int address) const
    {
        attribute(port + "/busnum", std::to_string(bus) + '\n');
        attribute(port + "/devnum", std::to_string(address) + '\n');
        attribute(port + "/bConfigurationValue", "1\n");
    }
    void interface(const std::string& port, const std::string& number, const std::string& protocol,
        const std::string& subclass = "01", const std::string& cls = "07") const
    {
        const std::string folder = port + ":1." + std::to_string(std::stoi(number, nullptr, 16));
        attribute(folder + "/bInterfaceNumber", number + '\n');
        attribute(folder + "/bInterfaceClass", cls + '\n');
        attribute(folder + "/bInterfaceSubClass", subclass + '\n');
        attribute(folder + "/bInterfaceProtocol", protocol + '\n');
    }

    std::string m_folder;
};

TEST_F(PrinterSearch, FindsPrinterInterfacesAlone)
{
    device("1-1", 1, 5);
    interface("1-1", "00", "02");
    device("1-2", 1, 6);
    interface("1-2", "00", "02", "01", "08");
    device("1-3", 1, 7);
    interface("1-3", "00", "02", "02", "07");
    EXPECT_EQ(connectedPrinters(m_folder), (std::vector<PrinterLocation>{{"1-1", 1, 5, 0}}));
}

TEST_F(PrinterSearch, TakesTheThreeProtocolsThatReceivePlainBytes)
{
    for (const int protocol : {0, 1, 2, 3, 4, 255}) {
        const std::string port = "1-" + std::to_string(protocol + 1);
        device(port, 1, protocol);
        char text[3];
        std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(protocol));
        interface(port, "00", text);
    }
    std::vector<int> found;
    for (const PrinterLocation& printer : connectedPrinters(m_folder))
        found.push_back(printer.address);
    EXPECT_EQ(found, (std::vector<int>{1, 2, 3}));
}

TEST_F(PrinterSearch, NamesADeviceOnceByItsFirstPrinterInterface)
{
    device("2-1.4", 2, 9);
    interface("2-1.4", "00", "00", "01", "ff");
    interface("2-1.4", "0b", "02");
    interface("2-1.4", "02", "02");
    EXPECT_EQ(connectedPrinters(m_folder), (std::vector<PrinterLocation>{{"2-1.4", 2, 9, 2}}));
}

TEST_F(PrinterSearch, OrdersPrintersByTheNumbersOfTheirPlaces)
{
    for (const char* port : {"1-10", "1-2", "10-1", "2-1", "1-2.1"}) {
        device(port, std::stoi(port), 1 + static_cast<int>(std::string(port).size() * 10) + port[2]);
        interface(port, "00", "01");
    }
    std::vector<std::string> ports;
    for (const PrinterLocation& printer : connectedPrinters(m_folder))
        ports.push_back(printer.port);
    EXPECT_EQ(ports, (std::vector<std::string>{"1-2", "1-2.1", "1-10", "2-1", "10-1"}));
}

TEST_F(PrinterSearch, LeavesOutADeviceThatIsJustGoing)
{
    interface("1-1", "00", "02");
    EXPECT_TRUE(connectedPrinters(m_folder).empty());
}

TEST_F(PrinterSearch, ListsNoMorePrintersThanItsBound)
{
    for (int i = 1; i <= 70; ++i) {
        device("1-" + std::to_string(i), 1, i);
        interface("1-" + std::to_string(i), "00", "02");
    }
    EXPECT_EQ(connectedPrinters(m_folder).size(), usb::maximumPrinters);
}

TEST_F(PrinterSearch, FindsNothingWhereThereIsNoUSB)
{
    EXPECT_TRUE(connectedPrinters(m_folder + "/none").empty());
}

TEST_F(PrinterSearch, ReadsTheTextsThatEverybodyMayRead)
{
    device("1-1", 1, 5);
    interface("1-1", "00", "02");
    attribute("1-1/manufacturer", "Lab Maker\n");
    attribute("1-1/product", "RP-80 \n");
    attribute("1-1/serial", "LAB\n");
    attribute("1-1:1.0/ieee1284_id", "MFG:A;MDL:B;");
    EXPECT_EQ(knownTexts({"1-1", 1, 5, 0}, m_folder), (PrinterTexts{"Lab Maker", "RP-80 ", "LAB", "MFG:A;MDL:B;"}));
}

TEST_F(PrinterSearch, LeavesMissingTextsEmpty)
{
    device("1-1", 1, 5);
    EXPECT_EQ(knownTexts({"1-1", 1, 5, 0}, m_folder), PrinterTexts());
}

TEST(PrinterLocationTest, NamesTheDeviceNode)
{
    EXPECT_EQ((PrinterLocation{"1-1", 1, 2, 0}).node(), "/dev/bus/usb/001/002");
    EXPECT_EQ((PrinterLocation{"1-1", 12, 127, 0}).node(), "/dev/bus/usb/012/127");
}

} // namespace
} // namespace harrowmint::test
