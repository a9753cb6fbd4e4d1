#pragma once

#include "render/Mask.h"

#include <QHash>
#include <QRawFont>
#include <deque>
#include <memory>
#include <unordered_map>

namespace harrowmint {

/// How a glyph is drawn wherever it stands. Its origin lies `phase` of a dot right of a whole dot: of four such phases
/// the one in which its stems meet the dots best, so that a letter looks the same, and sharp, at every place.
struct Glyph {
    Mask mask;
    double phase = 0;
};

/// The glyphs that one thread has drawn so far. Bounded: beyond `maximumBytes` it begins anew.
class GlyphCache {
public:
    /// What keeps glyphs alive: plain data, which may outlive the cache and be read from any thread.
    using Store = std::deque<Glyph>;
    /// The glyphs of one font by their index.
    using Index = std::unordered_map<quint32, const Glyph*>;

    static constexpr std::size_t maximumBytes = 4 << 20;

    /// The store of all glyphs that are handed out until the next call of this function. Keep it as long as them.
    [[nodiscard]] std::shared_ptr<const Store> store();
    /// The index of `font`; good until the next call of `store`.
    [[nodiscard]] Index& indexOf(const QRawFont& font) { return m_fonts[font]; }
    /// The glyph, drawn when it is not in `index`, the one of `font`.
    [[nodiscard]] const Glyph& glyph(Index& index, const QRawFont& font, quint32 glyph)
    {
        const auto found = index.find(glyph);
        return found != index.end() ? *found->second : draw(index, font, glyph);
    }

private:
    const Glyph& draw(Index& index, const QRawFont& font, quint32 glyph);

    std::shared_ptr<Store> m_store = std::make_shared<Store>();
    std::size_t m_bytes = 0;
    QHash<QRawFont, Index> m_fonts;
};

} // namespace harrowmint
