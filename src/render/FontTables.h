#pragma once

#include <QByteArray>

namespace harrowmint {

/// `font` (an OpenType file's bytes) without its language-specific substitutions and positions: every language is then
/// shaped as the script's default. The shaper picks a language by the process's locale, and a receipt must not differ
/// from one locale to another. Bytes that are no OpenType font come back as they are.
[[nodiscard]] QByteArray withoutLanguageSystems(QByteArray font);

} // namespace harrowmint
