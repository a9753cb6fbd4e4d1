#pragma once

#include <QByteArray>
#include <QString>
#include <exception>
#include <system_error>

namespace harrowmint {

/// The one error type of the system: a single final sentence, shown to the cashier as it stands.
/// A value; may be thrown, copied and kept on any thread.
class PrinterError : public std::exception {
public:
    /// `message` is the whole user-facing text.
    explicit PrinterError(QString message)
        : m_message(std::move(message))
        , m_utf8(m_message.toUtf8())
    {
    }

    /// The sentence to show.
    [[nodiscard]] const QString& message() const noexcept { return m_message; }
    /// The sentence in UTF-8; lives as long as the error.
    [[nodiscard]] const char* what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_message;
    QByteArray m_utf8;
};

/// The text of any error, ours or the platform's, for the edge that shows it. Of the platform's errors only what went
/// wrong, never the path of a file: the edge may be a web page.
[[nodiscard]] inline QString errorText(const std::exception& error)
{
    if (const auto* const platform = dynamic_cast<const std::system_error*>(&error))
        return QString::fromStdString(platform->code().message());
    return QString::fromUtf8(error.what());
}

} // namespace harrowmint
