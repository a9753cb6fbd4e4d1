#pragma once

#include "render/Mask.h"

#include <QHash>
#include <QRawFont>
#include <deque>
#include <memory>
#include <unordered_map>

namespace harrowmint {

/// Where a glyph's origin lies between two dots: so many quarters of a dot right of the left one.
enum class GlyphPhase : quint32 {
    Zero,
    One,
    Two,
    Three,
    Sharpest ///< the one of them in which the glyph's stems meet the dots best
};

/// How a glyph is drawn wherever it stands.
struct Glyph {
    Mask mask;
    double phase = 0; ///< of its origin, in dots
};

/// The glyphs that one thread has drawn so far. Bounded: it begins anew with the first text after it has grown large.
class GlyphCache {
public:
    /// What keeps glyphs alive: plain data, which may outlive the cache and be read from any thread.
    using Store = std::deque<Glyph>;
    /// The glyphs of one font by their index and phase.
    using Index = std::unordered_map<quint64, const Glyph*>;

    static constexpr std::size_t usualBytes = 4 << 20;

    /// An empty cache that is large when it takes more than `largeBytes`.
    explicit GlyphCache(std::size_t largeBytes = usualBytes)
        : m_largeBytes(largeBytes)
    {
    }

    /// The store of all glyphs that are handed out until the next call of this function. Keep it as long as them.
    [[nodiscard]] std::shared_ptr<const Store> store();
    /// The index of `font`; good until the next call of `store`.
    [[nodiscard]] Index& indexOf(const QRawFont& font) { return m_fonts[font]; }
    /// The glyph, drawn when it is not in `index`, the one of `font`.
    [[nodiscard]] const Glyph& glyph(Index& index, const QRawFont& font, quint32 glyph, GlyphPhase phase)
    {
        const auto found = index.find(keyOf(glyph, phase));
        return found != index.end() ? *found->second : draw(index, font, glyph, phase);
    }

private:
    static quint64 keyOf(quint32 glyph, GlyphPhase phase) { return quint64(glyph) << 3 | quint32(phase); }
    const Glyph& draw(Index& index, const QRawFont& font, quint32 glyph, GlyphPhase phase);

    std::size_t m_largeBytes;
    std::shared_ptr<Store> m_store = std::make_shared<Store>();
    std::size_t m_bytes = 0;
    QHash<QRawFont, Index> m_fonts;
};

} // namespace harrowmint
