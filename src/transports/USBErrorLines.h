#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <functional>

namespace harrowmint {

/// Watches the error stream of a USB backend program for its "ERROR:" lines, beside `USBTransferProgress`, and tells
/// their texts, so that the log can name what the page's sentence cannot. Lives as long as one run; one thread.
class USBErrorLines {
public:
    static constexpr qsizetype maximumLineBytes = 400; ///< of a longer line the beginning is told
    static constexpr int maximumLines = 8; ///< of one run; what follows is not told

    explicit USBErrorLines(std::function<void(const QString&)> tell);

    /// Takes the next bytes, split anywhere. A last line without its line feed is not told.
    void consume(QByteArrayView bytes);

private:
    void endLine();

    std::function<void(const QString&)> m_tell;
    QByteArray m_line; ///< the beginning of the line that is coming in
    int m_lines = 0;
};

} // namespace harrowmint
