#include "render/Fonts.h"

#include "render/FontTables.h"
#include "render/PlainFontSettings.h"
#include "render/RasterReceipt.h"
#include "render/TextBlock.h"

#include <QCoreApplication>
#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <memory>

namespace harrowmint {

namespace {

// Neither the screen nor the user's font settings decide how receipts look: sizes are dots, and outlines are fitted to
// the rows of dots alone, which leaves the letters their width.
constexpr auto hinting = QFont::PreferVerticalHinting;

constexpr int loadingSize = 23;

QRawFont loadBundled(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const PlainFontSettings plain;
    return QRawFont(withoutLanguageSystems(file.readAll()), loadingSize, hinting);
}

std::unique_ptr<Fonts>& fontsOfThisThread()
{
    thread_local std::unique_ptr<Fonts> fonts;
    return fonts;
}

/// Fonts cannot outlive the application object.
void releaseFonts()
{
    fontsOfThisThread().reset();
}

} // namespace

Fonts& Fonts::ofThisThread()
{
    std::unique_ptr<Fonts>& fonts = fontsOfThisThread();
    if (!fonts) {
        fonts = std::make_unique<Fonts>(QStringLiteral(":/fonts"));
        if (QThread::currentThread() == QCoreApplication::instance()->thread())
            qAddPostRoutine(releaseFonts);
    }
    return *fonts;
}

Fonts::Fonts(const QString& folder)
    : m_regular(loadBundled(folder + QStringLiteral("/DejaVuSans.ttf")))
    , m_bold(loadBundled(folder + QStringLiteral("/DejaVuSans-Bold.ttf")))
{
}

QRawFont Fonts::load(int size, bool bold) const
{
    if (bundled()) {
        QRawFont font = bold ? m_bold : m_regular;
        font.setPixelSize(size);
        return font;
    }
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(size);
    font.setBold(bold);
    font.setHintingPreference(hinting);
    return QRawFont::fromFont(font);
}

const QRawFont& Fonts::font(double size, bool bold)
{
    const int dots = int(std::lround(std::clamp(size, double(smallestSize), double(largestSize))));
    const auto [entry, isNew] = m_fonts.try_emplace({dots, bold});
    if (isNew)
        entry->second = load(dots, bold);
    return entry->second;
}

void warmFonts()
{
    // The styles of the invoice and the letters that most receipts are written with; the last character stands in none
    // of the bundled fonts, so that the list of the system's other fonts is read too.
    constexpr std::pair<int, bool> styles[] = {
        {19, false}, {20, false}, {21, false}, {23, false}, {23, true}, {29, true}, {32, true}};
    const QString text =
        QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz 0123456789 .,:;-+*/%#&@()=×−–"
                       " ابتثجحخدذرزسشصضطظعغفقكلمنهوي \u4e00");
    for (const auto& [size, bold] : styles)
        static_cast<void>(TextBlock(text, {double(size), bold, TextAlignment::Natural}, 544));
}

} // namespace harrowmint
