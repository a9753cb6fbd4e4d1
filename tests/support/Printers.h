#pragma once

#include <QByteArray>
#include <QString>
#include <ostream>

// How GoogleTest shows Qt's texts and bytes: readable instead of as a list of bytes. Included by every test.

inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << '"' << bytes.left(400).toPercentEncoding(" \"{}[]:,/<>=+'").toStdString() << "\" (" << bytes.size()
         << " bytes)";
}
