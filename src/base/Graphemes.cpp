// Written here because the toolkit's own boundaries follow word lists and syllable rules of the text's script, differ
// between machines, and split surrogate pairs that stand beside Thai or Indic text.

#include "base/GraphemeTable.h"
#include "base/Text.h"

#include <QChar>
#include <algorithm>
#include <array>
#include <iterator>

namespace harrowmint {

namespace {

using Class = GraphemeClass;

bool isHangulSyllable(char32_t scalar)
{
    return scalar >= 0xac00 && scalar <= 0xd7a3;
}

Class hangulSyllableClass(char32_t scalar)
{
    constexpr char32_t trailingConsonants = 28; // "none" included
    return (scalar - 0xac00) % trailingConsonants == 0 ? Class::HangulLV : Class::HangulLVT;
}

Class classOfCategory(char32_t scalar)
{
    switch (QChar::category(scalar)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
        return Class::Extend;
    case QChar::Mark_SpacingCombining:
        return Class::SpacingMark;
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return Class::Control;
    default:
        return Class::Other;
    }
}

Class lookedUpClass(char32_t scalar)
{
    if (isHangulSyllable(scalar))
        return hangulSyllableClass(scalar);
    const auto range = std::lower_bound(std::begin(graphemeRanges), std::end(graphemeRanges), scalar,
        [](const GraphemeRange& r, char32_t s) { return r.last < s; });
    if (range != std::end(graphemeRanges) && range->first <= scalar)
        return range->kind;
    return classOfCategory(scalar);
}

/// Of each scalar of the basic plane. Searching the ranges for every character of a vowelled text would be most of the
/// work of reading a request.
const std::array<Class, 0x10000>& basicPlane()
{
    static const std::array<Class, 0x10000> classes = [] {
        std::array<Class, 0x10000> found{};
        for (char32_t scalar = 0; scalar < found.size(); ++scalar)
            found[scalar] = lookedUpClass(scalar);
        return found;
    }();
    return classes;
}

bool isControlClass(Class c)
{
    return c == Class::Control || c == Class::CarriageReturn || c == Class::LineFeed;
}

bool joinsHangul(Class left, Class right)
{
    switch (left) {
    case Class::HangulL:
        return right == Class::HangulL || right == Class::HangulV || right == Class::HangulLV
            || right == Class::HangulLVT;
    case Class::HangulLV:
    case Class::HangulV:
        return right == Class::HangulV || right == Class::HangulT;
    case Class::HangulLVT:
    case Class::HangulT:
        return right == Class::HangulT;
    default:
        return false;
    }
}

/// Walks over a text and tells where a character begins. Names of rules are those of UAX #29.
class Boundaries {
public:
    /// Whether a character begins before the next scalar, which is of class `next`.
    bool beginsBefore(Class next)
    {
        const bool begins = isBoundary(next);
        m_emoji = emojiAfter(next);
        m_oddIndicators = next == Class::RegionalIndicator && !m_oddIndicators;
        m_last = next;
        m_atStart = false;
        return begins;
    }

    /// Whether what has passed leaves every Other that comes next its own beginning, and joins every Extend, however
    /// many of these follow: no rule looks back beyond them.
    [[nodiscard]] bool arePlain() const
    {
        return !m_atStart && (m_last == Class::Other || m_last == Class::Extend) && m_emoji == Emoji::None
            && !m_oddIndicators;
    }

private:
    /// How much of "pictograph, Extend*, joiner" has just passed.
    enum class Emoji { None, Begun, Joined };

    [[nodiscard]] bool isBoundary(Class next) const
    {
        if (m_atStart) // GB1
            return true;
        if (m_last == Class::CarriageReturn && next == Class::LineFeed) // GB3
            return false;
        if (isControlClass(m_last) || isControlClass(next)) // GB4, GB5
            return true;
        const bool joins = joinsHangul(m_last, next) // GB6, GB7, GB8
            || next == Class::Extend || next == Class::Joiner || next == Class::SpacingMark // GB9, GB9a
            || m_last == Class::Prepend // GB9b
            || (m_emoji == Emoji::Joined && next == Class::Pictograph) // GB11
            || (m_oddIndicators && next == Class::RegionalIndicator); // GB12, GB13
        return !joins;
    }

    [[nodiscard]] Emoji emojiAfter(Class next) const
    {
        if (next == Class::Pictograph)
            return Emoji::Begun;
        if (m_emoji == Emoji::Begun && next == Class::Extend)
            return Emoji::Begun;
        return m_emoji == Emoji::Begun && next == Class::Joiner ? Emoji::Joined : Emoji::None;
    }

    bool m_atStart = true;
    bool m_oddIndicators = false;
    Emoji m_emoji = Emoji::None;
    Class m_last = Class::Other;
};

/// Takes the scalars of classes Other and Extend, of which most text consists, from the beginning of `text`. Returns
/// how many characters begin with them where the boundaries are plain; stops when there are more than `limit`.
qsizetype takePlain(QStringView& text, qsizetype limit)
{
    const auto& classes = basicPlane(); // halves of surrogate pairs are controls there
    qsizetype characters = 0;
    qsizetype taken = 0;
    for (; taken < text.size() && characters <= limit; ++taken) {
        const Class next = classes[text[taken].unicode()];
        if (next == Class::Other)
            ++characters;
        else if (next != Class::Extend)
            break;
    }
    text = text.sliced(taken);
    return characters;
}

Class classOf(char32_t scalar)
{
    const auto& classes = basicPlane();
    return scalar < classes.size() ? classes[scalar] : lookedUpClass(scalar);
}

} // namespace

bool hasMoreCharactersThan(QStringView text, qsizetype limit)
{
    if (text.size() <= limit)
        return false;
    Boundaries boundaries;
    qsizetype characters = 0;
    while (!text.isEmpty() && characters <= limit) {
        if (boundaries.beginsBefore(classOf(takeScalar(text))))
            ++characters;
        if (boundaries.arePlain())
            characters += takePlain(text, limit - characters);
    }
    return characters > limit;
}

} // namespace harrowmint
