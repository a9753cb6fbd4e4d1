#pragma once

#include <QByteArray>
#include <QImage>

namespace harrowmint {

/// What the ESC/POS stream of one job leaves on the paper: a 1-bit image, one pixel a dot at 203 dpi, as wide as its
/// raster images, with the fed lines as white rows.
/// Strict where a printer is not: the stream begins with ESC @, and beyond it only ESC a 0, GS v 0 (mode 0, one width
/// of at most 576 dots throughout) and ESC d n are known. Throws PrinterError, naming the byte where it stopped, for
/// anything else, for a stream that ends inside a command, for one that prints nothing and for one of more than 20000
/// rows. Any thread.
[[nodiscard]] QImage paper(const QByteArray& stream);

} // namespace harrowmint
