#include "base/CanonicalJSON.h"
#include "base/JSONDocument.h"
#include "base/JSONFields.h"
#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"

#include <cmath>

namespace harrowmint {

namespace {

std::optional<std::int64_t> integer64(const JSONValue& value)
{
    if (value.kind() == JSONValue::Kind::Integer)
        return value.integerText().toLongLong();
    // A whole number may be written as 80.0 or 8e1.
    constexpr double limit = 0x1p63;
    const std::optional<double> number = value.number();
    if (value.kind() != JSONValue::Kind::Double || std::trunc(*number) != *number || std::abs(*number) >= limit)
        return std::nullopt;
    return static_cast<std::int64_t>(*number);
}

std::optional<QStringList> texts(const JSONValue& value)
{
    const auto entries = value.array();
    if (!entries)
        return std::nullopt;
    QStringList result;
    for (const JSONValue& entry : *entries) {
        const auto text = entry.string();
        if (!text)
            return std::nullopt;
        result.append(*text);
    }
    return result;
}

PrinterSettings decoded(const QByteArray& bytes)
{
    const auto text = [](const JSONValue& value) { return value.string(); };
    const auto boolean = [](const JSONValue& value) { return value.boolean(); };
    const JSONDocument document(bytes);
    const auto object = document.root().object();
    if (!object)
        throw PrinterError(QStringLiteral("The settings are not a JSON object."));
    PrinterSettings settings{
        .printerURI = requiredField(*object, "printerURI", text),
        .printerName = requiredField(*object, "printerName", text),
        .paperWidth = requiredField(*object, "paperWidth", integer64),
        .currency = requiredField(*object, "currency", text),
        .origins = requiredField(*object, "origins", texts),
        .paused = requiredField(*object, "paused", boolean),
        .receiptConnection = optionalField(*object, "receiptConnection", text),
        .bluetoothReceiptURI = optionalField(*object, "bluetoothReceiptURI", text),
        .bluetoothReceiptName = optionalField(*object, "bluetoothReceiptName", text),
        .labelPrinterURI = optionalField(*object, "labelPrinterURI", text),
        .labelPrinterName = optionalField(*object, "labelPrinterName", text),
    };
    return settings.validated();
}

QByteArray encodedTexts(const QStringList& list)
{
    QList<QByteArray> entries;
    for (const QString& text : list) {
        const QByteArray utf8 = text.toUtf8();
        QByteArray entry;
        appendJSONString(entry, std::string_view(utf8.constData(), static_cast<std::size_t>(utf8.size())));
        entries.append(entry);
    }
    return jsonArray(entries);
}

QByteArray encoded(const PrinterSettings& settings)
{
    JSONObjectWriter writer;
    writer.text(QStringLiteral("printerURI"), settings.printerURI);
    writer.text(QStringLiteral("printerName"), settings.printerName);
    writer.integer(QStringLiteral("paperWidth"), settings.paperWidth);
    writer.text(QStringLiteral("currency"), settings.currency);
    writer.encoded(QStringLiteral("origins"), encodedTexts(settings.origins));
    writer.boolean(QStringLiteral("paused"), settings.paused);
    const auto optional = [&writer](const QString& key, const std::optional<QString>& value) {
        if (value)
            writer.text(key, *value);
    };
    optional(QStringLiteral("receiptConnection"), settings.receiptConnection);
    optional(QStringLiteral("bluetoothReceiptURI"), settings.bluetoothReceiptURI);
    optional(QStringLiteral("bluetoothReceiptName"), settings.bluetoothReceiptName);
    optional(QStringLiteral("labelPrinterURI"), settings.labelPrinterURI);
    optional(QStringLiteral("labelPrinterName"), settings.labelPrinterName);
    return writer.finish();
}

/// What the user once saved is not lost to the first save after it became unreadable.
void keepUnreadable(const QString& directory, FileSystem& files)
{
    const QString path = directory + u'/' + PrinterSettings::fileName();
    if (!files.exists(path))
        return;
    const QByteArray bytes = files.read(path);
    try {
        decoded(bytes);
    } catch (const PrinterError&) {
        writeFileAtomically(files, directory, PrinterSettings::fileName() + QStringLiteral(".unreadable"), bytes);
    }
}

} // namespace

PrinterSettings PrinterSettings::load(const QString& directory, FileSystem& files)
{
    const QString path = directory + u'/' + fileName();
    return files.exists(path) ? decoded(files.read(path)) : PrinterSettings();
}

void PrinterSettings::save(const QString& directory, FileSystem& files) const
{
    const QByteArray bytes = encoded(validated());
    keepUnreadable(directory, files);
    writeFileAtomically(files, directory, fileName(), bytes);
}

} // namespace harrowmint
