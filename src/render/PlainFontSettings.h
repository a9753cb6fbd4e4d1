#pragma once

namespace harrowmint {

/// While it lives, fonts are loaded as if the user had no font settings (those of fontconfig, where the toolkit follows
/// them): smoothing that is turned off there, for example, would reach our own fonts too, and no property of a font
/// overrules it. For the short time of loading; nothing else may use fonts meanwhile. Does nothing where the toolkit
/// works without fontconfig.
class PlainFontSettings {
public:
    PlainFontSettings();
    ~PlainFontSettings();
    PlainFontSettings(const PlainFontSettings&) = delete;
    PlainFontSettings& operator=(const PlainFontSettings&) = delete;

private:
    void* m_userSettings = nullptr;
};

} // namespace harrowmint
