#include "render/FontTables.h"

#include <QtEndian>

namespace harrowmint {

namespace {

constexpr qsizetype tableDirectoryStart = 12;
constexpr qsizetype tableRecordBytes = 16;
constexpr qsizetype scriptRecordBytes = 6;

/// The number at `at`; 0 beyond the end, which reads as an empty list.
template <class Number>
qsizetype numberAt(const QByteArray& font, qsizetype at)
{
    if (at < 0 || at > font.size() - qsizetype(sizeof(Number)))
        return 0;
    return qsizetype(qFromBigEndian<Number>(font.constData() + at));
}

/// Empties the language list of every script of the layout table (GSUB or GPOS) at `table`.
void clearLanguages(QByteArray& font, qsizetype table)
{
    const qsizetype scripts = table + numberAt<quint16>(font, table + 4);
    const qsizetype count = numberAt<quint16>(font, scripts);
    for (qsizetype i = 0; i < count; ++i) {
        const qsizetype record = scripts + 2 + i * scriptRecordBytes;
        const qsizetype languageCount = scripts + numberAt<quint16>(font, record + 4) + 2;
        if (languageCount <= font.size() - 2)
            qToBigEndian<quint16>(0, font.data() + languageCount);
    }
}

} // namespace

QByteArray withoutLanguageSystems(QByteArray font)
{
    const qsizetype tables = numberAt<quint16>(font, 4);
    for (qsizetype i = 0; i < tables; ++i) {
        const qsizetype record = tableDirectoryStart + i * tableRecordBytes;
        const QByteArray tag = font.mid(record, 4);
        if (tag == "GSUB" || tag == "GPOS")
            clearLanguages(font, numberAt<quint32>(font, record + 8));
    }
    return font;
}

} // namespace harrowmint
