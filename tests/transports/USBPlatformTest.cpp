#include "transports/linux/USBPlatform.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

class USBPlatform : public ::testing::Test {
protected:
    void write(const QString& path, const QByteArray& bytes, QFile::Permissions more = {}) const
    {
        ASSERT_TRUE(QDir(m_folder.path()).mkpath(QFileInfo(m_folder.filePath(path)).path()));
        const QString name = m_folder.filePath(path);
        writeFile(name, bytes);
        QFile::setPermissions(name, QFile::permissions(name) | more);
    }
    void printer(const QString& port, const QByteArray& address) const
    {
        write(port + QStringLiteral("/busnum"), "3\n");
        write(port + QStringLiteral("/devnum"), address + '\n');
        const QString interface = port + QStringLiteral(":1.0/bInterface");
        write(interface + QStringLiteral("Number"), "00\n");
        write(interface + QStringLiteral("Class"), "07\n");
        write(interface + QStringLiteral("SubClass"), "01\n");
        write(interface + QStringLiteral("Protocol"), "02\n");
    }

    QTemporaryDir m_folder;
};

TEST_F(USBPlatform, NamesTheNodeAndTheRemedyOfEachPrinterThatMayNotBeOpened)
{
    printer(QStringLiteral("3-1"), "7");
    printer(QStringLiteral("3-2"), "8");
    const auto lines = platform::inaccessibleUSBPrinters(
        m_folder.path().toStdString(), [](const std::string& node) { return node == "/dev/bus/usb/003/007"; });
    EXPECT_EQ(lines,
        std::vector<QString>{QStringLiteral(
            "No permission to open /dev/bus/usb/003/008. Install the udev rule of Harrowmint Printer or join the group "
            "lp, then plug the printer in again.")});
}

TEST_F(USBPlatform, SaysNothingWithoutPrinters)
{
    EXPECT_TRUE(platform::inaccessibleUSBPrinters(m_folder.path().toStdString(), [](const std::string&) {
        return false;
    }).empty());
}

TEST_F(USBPlatform, FindsTheBackendBesideTheAgentInTheBuildTree)
{
    write(QStringLiteral("bin/harrowmint-usb-backend"), "", QFile::ExeOwner | QFile::ExeUser);
    EXPECT_EQ(platform::ownUSBBackend(m_folder.filePath(QStringLiteral("bin"))),
        m_folder.filePath(QStringLiteral("bin/harrowmint-usb-backend")));
}

TEST_F(USBPlatform, FindsTheBackendInTheLibexecFolderOfTheInstallation)
{
    EXPECT_EQ(platform::ownUSBBackend(m_folder.filePath(QStringLiteral("bin"))),
        m_folder.filePath(QStringLiteral("libexec/harrowmint-printer/harrowmint-usb-backend")));
}

} // namespace
} // namespace harrowmint::test
