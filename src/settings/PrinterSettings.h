#pragma once

#include "base/FileSystem.h"

#include <QString>
#include <QStringList>
#include <QStringView>
#include <cstdint>
#include <optional>

namespace harrowmint {

/// The one persisted record of the agent: printers, paper, currency, approved stores. A plain value; every copy that
/// comes from `load` or `validated` may be trusted as it stands. Any thread; each holder has its own copy.
struct PrinterSettings {
    QString printerURI; ///< USB receipt printer, "usb://…"; empty: none chosen
    QString printerName; ///< display name of that printer
    std::int64_t paperWidth = 80; ///< millimetres, 80 or 58
    QString currency = QStringLiteral("USD"); ///< fallback ISO 4217 code
    QStringList origins; ///< approved store origins, "https://" and a lower-case host
    bool paused = false; ///< website printing paused by the user
    std::optional<QString> receiptConnection; ///< "usb" or "bluetooth"; absent means USB
    std::optional<QString> bluetoothReceiptURI; ///< "ble:" + UUID, or "spp:" + 12 upper-case hexadecimal digits
    std::optional<QString> bluetoothReceiptName;
    std::optional<QString> labelPrinterURI; ///< "ble:" + UUID
    std::optional<QString> labelPrinterName;

    bool operator==(const PrinterSettings&) const = default;

    /// The data directory below the user's home directory; computed once, thread-safe.
    [[nodiscard]] static const QString& directory();
    /// The name of the settings file in its directory.
    [[nodiscard]] static QString fileName() { return QStringLiteral("settings.json"); }

    /// The validated settings of `directory`, or the defaults when there is no file. Throws std::system_error for an
    /// unreadable file and PrinterError for one that is not JSON, lacks a required key or is out of bounds; never
    /// substitutes defaults for a file that is there.
    [[nodiscard]] static PrinterSettings load(
        const QString& directory = PrinterSettings::directory(), FileSystem& files = FileSystem::local());
    /// Writes the validated copy of this record. Throws what `validated` throws, having written nothing, or
    /// std::system_error; a failure before the final rename leaves the previous file. Bytes of a file that cannot be
    /// loaded are first kept beside it as "settings.json.unreadable".
    void save(const QString& directory = PrinterSettings::directory(), FileSystem& files = FileSystem::local()) const;
    /// A copy with `origins` normalised, deduplicated and sorted. Throws PrinterError when a field is out of bounds.
    [[nodiscard]] PrinterSettings validated() const;

    /// A typed store address as an origin: "https://" and the host in lower case. Throws PrinterError for anything but
    /// an exact HTTPS address. The host is text: it is never resolved, decoded or rewritten.
    [[nodiscard]] static QString origin(QStringView text);
    /// Whether `uri` is an acceptable Bluetooth receipt printer address.
    [[nodiscard]] static bool isReceiptBluetoothPort(QStringView uri);
    /// Whether `uri` is an acceptable label printer address.
    [[nodiscard]] static bool isLabelPort(QStringView uri);

    /// Whether receipts go to the Bluetooth printer.
    [[nodiscard]] bool usesBluetoothReceipt() const;
    /// The address of the receipt printer in use; empty when none is chosen for that connection.
    [[nodiscard]] QString activeReceiptURI() const;
};

} // namespace harrowmint
