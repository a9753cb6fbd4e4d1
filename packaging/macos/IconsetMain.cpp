// Draws the agent's icon into an icon set: NAME DIRECTORY makes the pictures that iconutil wants in DIRECTORY, whose
// name ends in ".iconset".
#include "app/PrinterMenuIcon.h"

#include <QDir>
#include <cstdio>

int main(int argc, char** argv)
{
    using namespace harrowmint;
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    const QDir folder(QFile::decodeName(argv[1]));
    if (!folder.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "The folder cannot be made.\n");
        return 1;
    }
    for (const int points : {16, 32, 128, 256, 512}) {
        for (const int scale : {1, 2}) {
            const QString suffix = scale == 1 ? QString() : QStringLiteral("@2x");
            const QString name = QStringLiteral("icon_%1x%1%2.png").arg(points).arg(suffix);
            const QImage image = PrinterMenuIcon::draw(points * scale, PrinterMenuIcon::Background::Light);
            if (!image.save(folder.filePath(name), "PNG")) {
                std::fprintf(stderr, "%s cannot be written.\n", qPrintable(name));
                return 1;
            }
        }
    }
    return 0;
}
