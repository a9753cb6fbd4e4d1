#include "render/PlainFontSettings.h"

#include <QLibrary>

namespace harrowmint {

namespace {

// The toolkit has loaded this library already; it is asked for by name because only the toolkit depends on it.
template <class Function>
Function* fontconfig(const char* name)
{
    return reinterpret_cast<Function*>(QLibrary::resolve(QStringLiteral("fontconfig"), 1, name));
}

using Create = void*();
using Reference = void*(void*);
using SetCurrent = int(void*);
using Destroy = void(void*);

} // namespace

PlainFontSettings::PlainFontSettings()
{
    auto* const create = fontconfig<Create>("FcConfigCreate");
    auto* const reference = fontconfig<Reference>("FcConfigReference");
    auto* const setCurrent = fontconfig<SetCurrent>("FcConfigSetCurrent");
    auto* const destroy = fontconfig<Destroy>("FcConfigDestroy");
    if (!create || !reference || !setCurrent || !destroy)
        return;
    void* const plain = create();
    if (!plain)
        return;
    m_userSettings = reference(nullptr);
    setCurrent(plain);
    destroy(plain);
}

PlainFontSettings::~PlainFontSettings()
{
    if (!m_userSettings)
        return;
    fontconfig<SetCurrent>("FcConfigSetCurrent")(m_userSettings);
    fontconfig<Destroy>("FcConfigDestroy")(m_userSettings);
}

} // namespace harrowmint
