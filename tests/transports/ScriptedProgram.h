#pragma once

#include "support/Files.h"
#include "transports/USBBackend.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>

namespace harrowmint::test {

/// Limits that no machine is too slow for, for programs that end by themselves.
inline constexpr USBBackend::Limits patient{
    std::chrono::minutes(2), std::chrono::minutes(2), std::chrono::milliseconds(250)};

/// Limits that are over soon, for programs that never end by themselves.
[[nodiscard]] constexpr USBBackend::Limits impatient(std::chrono::milliseconds limit = std::chrono::milliseconds(100))
{
    return {limit, limit, std::chrono::milliseconds(50)};
}

/// A piece of script that waits until <program>.go exists, or the test is gone.
inline const QByteArray waitForGo = "i=0; until [ -e \"$0.go\" ] || [ ! -e \"$0\" ] || [ $i -ge 20000 ]; "
                                    "do i=$((i + 1)); sleep 0.01; done\n";

inline constexpr char timedOut[] =
    "Printer timed out. Check the paper and connection before retrying; a receipt may have printed.";
inline constexpr char transferFailed[] = "USB transfer failed. Check the cable, power and paper before retrying.";
inline constexpr char unreadableList[] = "Unable to read the USB printer list.";
inline constexpr char invalidJob[] = "Invalid local printer job.";

/// The address of a printer that only exists here.
inline const QString printerURI = QStringLiteral("usb://Harrowmint/Test?serial=1");

/// Backend programs in a folder of their own, each with the files beside it by which it and the test speak. After every
/// test no child process and no descriptor may be left, and broken pipes must be dealt with as before.
class ScriptedPrograms : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// A shell script; "$0" is its own path.
    [[nodiscard]] QString script(const QByteArray& body, const QString& name = QStringLiteral("backend")) const;
    /// The program that reports what it sees, under a name of its own.
    [[nodiscard]] QString observer(const QString& name = QStringLiteral("observer")) const;
    [[nodiscard]] QString path(const QString& name) const { return m_folder.filePath(name); }

    /// Whether this process has a child, ended or not.
    [[nodiscard]] static bool hasChild();
    /// Waits for a child that is reaped by somebody else, with all the patience there is.
    static void waitUntilReaped();
    [[nodiscard]] static QStringList openDescriptors();

private:
    QTemporaryDir m_folder;
    QStringList m_descriptorsBefore;
};

/// The sentence with which `action` fails; "" when it does not fail.
template <class Action>
[[nodiscard]] QString failure(Action&& action);

} // namespace harrowmint::test

#include "base/PrinterError.h"

template <class Action>
QString harrowmint::test::failure(Action&& action)
{
    try {
        action();
    } catch (const PrinterError& error) {
        return error.message();
    }
    return {};
}
