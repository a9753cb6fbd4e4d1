#pragma once

#include "render/GlyphCache.h"

#include <QRawFont>
#include <map>
#include <utility>

namespace harrowmint {

/// The fonts of receipts and what has been drawn with them, for one thread. Needs the application object, whose end
/// (or the thread's) ends it too.
class Fonts {
public:
    /// Sizes beyond these, in dots, are drawn at the nearest of them.
    static constexpr int smallestSize = 1;
    static constexpr int largestSize = 256;

    /// The calling thread's fonts, loaded at the first call.
    [[nodiscard]] static Fonts& ofThisThread();

    /// The fonts in the folder `folder` of the program's resources; the platform's interface font where they are not.
    explicit Fonts(const QString& folder);

    /// The receipt font at `size` dots, which is rounded to a whole number. Other scripts than its own come from the
    /// system's fonts.
    [[nodiscard]] const QRawFont& font(double size, bool bold);
    /// The glyphs drawn so far.
    [[nodiscard]] GlyphCache& glyphs() { return m_glyphs; }
    /// Whether the fonts that travel with the program are in use.
    [[nodiscard]] bool bundled() const { return m_regular.isValid() && m_bold.isValid(); }

private:
    [[nodiscard]] QRawFont load(int size, bool bold) const;

    QRawFont m_regular;
    QRawFont m_bold;
    std::map<std::pair<int, bool>, QRawFont> m_fonts;
    GlyphCache m_glyphs;
};

} // namespace harrowmint
