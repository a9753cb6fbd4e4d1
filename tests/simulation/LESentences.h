#pragma once

#include "LERig.h"

namespace harrowmint::test::le {

inline QString noun(LERig::Kind kind)
{
    return kind == LERig::Kind::receipts ? QStringLiteral("receipt") : QStringLiteral("label");
}

inline QString capital(LERig::Kind kind)
{
    return kind == LERig::Kind::receipts ? QStringLiteral("Receipt") : QStringLiteral("Label");
}

/// Every sentence with which a job may fail once it runs, without its outcome.
inline QStringList sentences(LERig::Kind kind)
{
    QStringList all{QStringLiteral("Allow Bluetooth access for Harrowmint Printer in macOS Privacy settings."),
        QStringLiteral("Turn on Bluetooth and your %1 printer.").arg(noun(kind)),
        QStringLiteral("Bluetooth %1 write size is unsupported.").arg(noun(kind)),
        QStringLiteral("%1 transfer failed.").arg(capital(kind)),
        QStringLiteral("%1 printer disconnected.").arg(capital(kind)),
        QStringLiteral("Cannot connect your %1 printer. Check power and close other apps using it.").arg(noun(kind)),
        QStringLiteral("%1 printer did not finish in time.").arg(capital(kind))};
    if (kind == LERig::Kind::receipts)
        all << QStringLiteral("Cannot read Bluetooth receipt services.")
            << QStringLiteral(
                   "This device has no supported ESC/POS Bluetooth LE channel. Pair serial printers in macOS "
                   "Bluetooth settings and choose their paired entry.");
    else
        all << QStringLiteral("This label printer does not expose the supported Bluetooth printing service.")
            << QStringLiteral("This label printer has no supported Bluetooth write channel.");
    return all;
}

} // namespace harrowmint::test::le
