#pragma once

#include <QIcon>
#include <QImage>

/// The agent's own picture: a receipt printer with its paper. Any thread that may paint on images; icons on the main
/// thread, with a QGuiApplication.
namespace harrowmint::PrinterMenuIcon {

/// What the picture is to stand out from.
enum class Background { Light, Dark };

/// The sides, in pixels, for which the picture is drawn on its own, not scaled.
inline constexpr int sides[] = {16, 22, 24, 32, 48, 64, 128, 256};

/// The picture in a square of `side` pixels (1 to 1024), transparent around it. Small ones have fewer details.
[[nodiscard]] QImage draw(int side, Background background);

/// The icon of the tray's or the menu bar's item. Unless `forceFallback`, the desktop's theme is asked first, in which
/// the package installs this very picture, so that the tray draws it at whatever size it needs; the drawn one is the
/// fallback.
[[nodiscard]] QIcon make(bool forceFallback = false);

/// The icon of the application and of its windows, for the background that the desktop's palette has.
[[nodiscard]] QIcon applicationImage();

} // namespace harrowmint::PrinterMenuIcon
