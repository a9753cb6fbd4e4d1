#include "render/DocumentText.h"

namespace harrowmint {

namespace {

TextAlignment alignmentNamed(const QString& name)
{
    if (name == u"left")
        return TextAlignment::Left;
    if (name == u"right")
        return TextAlignment::Right;
    return name == u"center" ? TextAlignment::Center : TextAlignment::Natural;
}

} // namespace

DocumentText::DocumentText(const QString& text, int size, bool bold, const QString& align, int width)
{
    if (!text.isEmpty())
        m_block.emplace(text, TextStyle{double(size), bold, alignmentNamed(align)}, width);
}

} // namespace harrowmint
