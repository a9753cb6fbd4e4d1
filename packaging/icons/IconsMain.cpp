// Draws the agent's icon into a folder: NAME DIRECTORY makes DIRECTORY/<side>x<side>/apps/harrowmint-printer.png for
// each side, as an icon theme has them. With "--dark" as the second argument, the picture for dark backgrounds.
#include "app/PrinterMenuIcon.h"

#include <QDir>
#include <cstdio>

int main(int argc, char** argv)
{
    using namespace harrowmint;
    const bool dark = argc > 2 && QByteArray(argv[2]) == "--dark";
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY [--dark]\n", argv[0]);
        return 2;
    }
    for (const int side : PrinterMenuIcon::sides) {
        const QString folder = QStringLiteral("%1/%2x%2/apps").arg(QFile::decodeName(argv[1])).arg(side);
        const QImage image =
            PrinterMenuIcon::draw(side, dark ? PrinterMenuIcon::Background::Dark : PrinterMenuIcon::Background::Light);
        if (!QDir().mkpath(folder) || !image.save(folder + QStringLiteral("/harrowmint-printer.png"), "PNG")) {
            std::fprintf(stderr, "The icon of %d pixels cannot be written.\n", side);
            return 1;
        }
    }
    return 0;
}
