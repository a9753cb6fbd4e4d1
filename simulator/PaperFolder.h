#pragma once

#include <QImage>
#include <QString>

namespace harrowmint {

/// Writes `image` as a PNG to the next free name of "receipt-1.png", "receipt-2.png", … in `folder`, which is created
/// when it is missing, and returns its path; `kind` may stand for "receipt". The name appears with the whole picture,
/// and no file is ever overwritten, whoever else writes there. Throws PrinterError.
QString savePaper(const QImage& image, const QString& folder, const QString& kind = QStringLiteral("receipt"));

/// The address of the virtual printer whose papers go to `folder`, an absolute path; "" is the program's own choice.
[[nodiscard]] QString virtualPrinterURI(const QString& folder = {});
/// The folder that the address of a virtual printer names, "" when it names none. Throws PrinterError for the address
/// of anything else, and for a folder that is not an absolute path.
[[nodiscard]] QString papersFolder(const QString& printerURI);

} // namespace harrowmint
