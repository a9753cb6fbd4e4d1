#pragma once

#include <QString>
#include <chrono>

/// The names of BlueZ's D-Bus interface, and the times that the adapters of both ports share.
namespace harrowmint::bluez {

inline const QString service = QStringLiteral("org.bluez");
inline const QString managerPath = QStringLiteral("/org/bluez");

inline const QString adapterInterface = QStringLiteral("org.bluez.Adapter1");
inline const QString deviceInterface = QStringLiteral("org.bluez.Device1");
inline const QString gattServiceInterface = QStringLiteral("org.bluez.GattService1");
inline const QString gattCharacteristicInterface = QStringLiteral("org.bluez.GattCharacteristic1");
inline const QString profileManagerInterface = QStringLiteral("org.bluez.ProfileManager1");
inline const QString profileInterface = QStringLiteral("org.bluez.Profile1");
inline const QString objectManagerInterface = QStringLiteral("org.freedesktop.DBus.ObjectManager");
inline const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

inline const QString serialPortUuid = QStringLiteral("00001101-0000-1000-8000-00805f9b34fb");

inline const QString failedError = QStringLiteral("org.bluez.Error.Failed");
inline const QString inProgressError = QStringLiteral("org.bluez.Error.InProgress");
inline const QString notPermittedError = QStringLiteral("org.bluez.Error.NotPermitted");
inline const QString notSupportedError = QStringLiteral("org.bluez.Error.NotSupported");
inline const QString notReadyError = QStringLiteral("org.bluez.Error.NotReady");
inline const QString notAvailableError = QStringLiteral("org.bluez.Error.NotAvailable");
inline const QString alreadyConnectedError = QStringLiteral("org.bluez.Error.AlreadyConnected");
inline const QString alreadyExistsError = QStringLiteral("org.bluez.Error.AlreadyExists");
inline const QString rejectedError = QStringLiteral("org.bluez.Error.Rejected");
inline const QString noReplyError = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
inline const QString accessDeniedError = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");

/// Failed, in words, while another request to connect is under way.
inline const QString alreadyInProgressText = QStringLiteral("Operation already in progress");
/// NotPermitted, in words, while somebody holds the write channel.
inline const QString writeAcquiredText = QStringLiteral("Write acquired");

/// Calls that BlueZ answers from memory.
inline constexpr std::chrono::milliseconds shortLimit{5'000};
/// Calls that wait for a radio: above the limit of any job, so that the job's own limit decides.
inline constexpr std::chrono::milliseconds longLimit{60'000};
/// What went wrong is decided this long after a sign of it: what is behind it shows a little later. Between the end of
/// a link and the adapter's report that it is off, 100 to 170 ms were seen.
inline constexpr std::chrono::milliseconds doubt{200};
/// Between attempts while another holds what is needed, or BlueZ has not let go of it yet.
inline constexpr std::chrono::milliseconds retryPause{100};

} // namespace harrowmint::bluez
