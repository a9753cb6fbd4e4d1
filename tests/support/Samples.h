#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// Also for measurements: without the test framework.
namespace harrowmint::test {

/// All bytes of a file; none when it cannot be read.
[[nodiscard]] inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The file of tests/samples, which must be there.
[[nodiscard]] inline QByteArray sample(const QString& name)
{
    const QByteArray bytes = readFile(QStringLiteral(HARROWMINT_SOURCE_DIR "/tests/samples/") + name);
    if (bytes.isEmpty())
        qFatal("There is no sample %s.", qUtf8Printable(name));
    return bytes;
}

} // namespace harrowmint::test
