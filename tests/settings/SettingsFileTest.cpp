#include "base/PrinterError.h"
#include "settings/PrinterSettings.h"
#include "support/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <sys/stat.h>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QByteArray minimal =
    R"({"printerURI":"","printerName":"","paperWidth":80,"currency":"USD","origins":[],"paused":false})";

PrinterSettings everyField()
{
    return {QStringLiteral("usb://EPSON/TM?serial=1"), QStringLiteral("Küche \"1\"\n\\"), 58, QStringLiteral("EUR"),
        {QStringLiteral("https://a.example"), QStringLiteral("https://b.example")}, true, QStringLiteral("bluetooth"),
        QStringLiteral("spp:0123456789AB"), QStringLiteral("Röle 😀"),
        QStringLiteral("ble:00000000-0000-0000-0000-0123456789AB"), QStringLiteral("L\t1")};
}

class SettingsFile : public ::testing::Test {
protected:
    QString directory() const { return m_directory.filePath(QStringLiteral("a/b")); }
    QString path(const QString& name = PrinterSettings::fileName()) const { return directory() + u'/' + name; }
    void put(const QByteArray& bytes) const
    {
        FileSystem::local().createDirectories(directory());
        writeFile(path(), bytes);
    }
    QByteArray bytes(const QString& name = PrinterSettings::fileName()) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
    }
    PrinterSettings load() const { return PrinterSettings::load(directory()); }
    bool loads(const QByteArray& json) const
    {
        put(json);
        try {
            (void)load();
            return true;
        } catch (const PrinterError&) {
            EXPECT_EQ(bytes(), json) << "an unreadable file stays as it is";
            return false;
        }
    }

private:
    QTemporaryDir m_directory;
};

TEST_F(SettingsFile, GivesTheDefaultsWhenThereIsNone)
{
    EXPECT_EQ(load(), PrinterSettings());
    EXPECT_FALSE(QFileInfo::exists(directory())) << "loading creates nothing";
}

TEST_F(SettingsFile, GivesBackWhatWasSaved)
{
    everyField().save(directory());
    EXPECT_EQ(load(), everyField());
    PrinterSettings().save(directory());
    EXPECT_EQ(load(), PrinterSettings());
}

TEST_F(SettingsFile, HoldsTheSixKeysAlwaysAndTheOthersOnlyWithAValue)
{
    PrinterSettings().save(directory());
    EXPECT_EQ(QJsonDocument::fromJson(bytes()), QJsonDocument::fromJson(minimal));
    everyField().save(directory());
    const QStringList keys = {QStringLiteral("bluetoothReceiptName"), QStringLiteral("bluetoothReceiptURI"),
        QStringLiteral("currency"), QStringLiteral("labelPrinterName"), QStringLiteral("labelPrinterURI"),
        QStringLiteral("origins"), QStringLiteral("paperWidth"), QStringLiteral("paused"),
        QStringLiteral("printerName"), QStringLiteral("printerURI"), QStringLiteral("receiptConnection")};
    EXPECT_EQ(QJsonDocument::fromJson(bytes()).object().keys(), keys);
}

TEST_F(SettingsFile, KeepsAnEmptyOptionalTextApartFromAnAbsentOne)
{
    PrinterSettings settings;
    settings.bluetoothReceiptURI.emplace();
    settings.save(directory());
    EXPECT_EQ(load().bluetoothReceiptURI, std::optional<QString>(QString()));
    EXPECT_EQ(load().labelPrinterURI, std::nullopt);
}

TEST_F(SettingsFile, HoldsValidatedOrigins)
{
    PrinterSettings settings;
    settings.origins = QStringList(7, QStringLiteral(" https://B.example:443/")) << QStringLiteral("https://a.example");
    settings.save(directory());
    const QStringList expected = {QStringLiteral("https://a.example"), QStringLiteral("https://b.example")};
    EXPECT_EQ(load().origins, expected);
    EXPECT_TRUE(bytes().contains(R"("origins":["https://a.example","https://b.example"])"));
}

TEST_F(SettingsFile, NormalisesOriginsWhenReading)
{
    put(QByteArray(minimal).replace("[]", R"(["https://B.example/","https://a.example","https://b.example"])"));
    const QStringList expected = {QStringLiteral("https://a.example"), QStringLiteral("https://b.example")};
    EXPECT_EQ(load().origins, expected);
}

TEST_F(SettingsFile, IsForItsUserAlone)
{
    const mode_t before = ::umask(0);
    PrinterSettings().save(directory());
    ::umask(before);
    EXPECT_EQ(modeOf(directory()), 0700U);
    EXPECT_EQ(modeOf(directory() + QStringLiteral("/..")), 0700U);
    EXPECT_EQ(modeOf(path()), 0600U);
}

TEST_F(SettingsFile, BecomesItsUsersAloneWithTheNextSave)
{
    PrinterSettings().save(directory());
    QFile::setPermissions(path(), QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther);
    PrinterSettings().save(directory());
    EXPECT_EQ(modeOf(path()), 0600U);
}

TEST_F(SettingsFile, IsNotWrittenWhenTheRecordIsOutOfBounds)
{
    PrinterSettings settings;
    settings.paperWidth = 72;
    EXPECT_THROW(settings.save(directory()), PrinterError);
    EXPECT_FALSE(QFileInfo::exists(directory()));
    everyField().save(directory());
    const QByteArray before = bytes();
    EXPECT_THROW(settings.save(directory()), PrinterError);
    EXPECT_EQ(bytes(), before);
}

TEST_F(SettingsFile, LeavesNothingElseBehind)
{
    everyField().save(directory());
    PrinterSettings().save(directory());
    EXPECT_EQ(QDir(directory()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList(QStringLiteral("settings.json")));
}

TEST_F(SettingsFile, ThatIsUnreadableIsKeptBesideTheFirstSave)
{
    put("{\"origins\":");
    PrinterSettings().save(directory());
    everyField().save(directory());
    EXPECT_EQ(load(), everyField());
    EXPECT_EQ(bytes(QStringLiteral("settings.json.unreadable")), "{\"origins\":");
    EXPECT_EQ(modeOf(path(QStringLiteral("settings.json.unreadable"))), 0600U);
}

TEST_F(SettingsFile, ThatIsOutOfBoundsIsKeptBesideTheFirstSave)
{
    const QByteArray old = QByteArray(minimal).replace("80", "72");
    put(old);
    PrinterSettings().save(directory());
    EXPECT_EQ(bytes(QStringLiteral("settings.json.unreadable")), old);
}

TEST_F(SettingsFile, ThatIsADirectoryIsToldAndNotReplaced)
{
    FileSystem::local().createDirectories(path());
    EXPECT_THROW((void)load(), std::system_error);
    EXPECT_THROW(PrinterSettings().save(directory()), std::system_error);
    EXPECT_TRUE(QFileInfo(path()).isDir());
}

TEST_F(SettingsFile, IgnoresUnknownKeys)
{
    EXPECT_TRUE(loads(QByteArray(minimal).replace("{", R"({"theme":{"a":[null]},)")));
}

TEST_F(SettingsFile, TakesTheLastOfDuplicateKeys)
{
    put(QByteArray(minimal).replace("{", R"({"paperWidth":58,"paused":"x",)"));
    EXPECT_EQ(load(), PrinterSettings());
}

TEST_F(SettingsFile, NeedsEachOfTheSixKeys)
{
    for (const char* key : {"printerURI", "printerName", "paperWidth", "currency", "origins", "paused"}) {
        QJsonObject object = QJsonDocument::fromJson(minimal).object();
        object.remove(QLatin1String(key));
        EXPECT_FALSE(loads(QJsonDocument(object).toJson())) << key;
        object.insert(QLatin1String(key), QJsonValue::Null);
        EXPECT_FALSE(loads(QJsonDocument(object).toJson())) << key;
    }
}

TEST_F(SettingsFile, TakesNullAsAbsentForEachOptionalKey)
{
    for (const char* key :
        {"receiptConnection", "bluetoothReceiptURI", "bluetoothReceiptName", "labelPrinterURI", "labelPrinterName"}) {
        QJsonObject object = QJsonDocument::fromJson(minimal).object();
        object.insert(QLatin1String(key), QJsonValue::Null);
        put(QJsonDocument(object).toJson());
        EXPECT_EQ(load(), PrinterSettings()) << key;
    }
}

TEST_F(SettingsFile, NeedsTheRightTypeForEachKey)
{
    const QJsonValue values[] = {1, 1.5, true, QStringLiteral("1"), QJsonObject(), QJsonArray({1})};
    const std::pair<const char*, QJsonValue::Type> keys[] = {{"printerURI", QJsonValue::String},
        {"printerName", QJsonValue::String}, {"paperWidth", QJsonValue::Double}, {"currency", QJsonValue::String},
        {"origins", QJsonValue::Array}, {"paused", QJsonValue::Bool}, {"receiptConnection", QJsonValue::String},
        {"bluetoothReceiptURI", QJsonValue::String}, {"bluetoothReceiptName", QJsonValue::String},
        {"labelPrinterURI", QJsonValue::String}, {"labelPrinterName", QJsonValue::String}};
    for (const auto& [key, type] : keys) {
        for (const QJsonValue& value : values) {
            QJsonObject object = QJsonDocument::fromJson(minimal).object();
            object.insert(QLatin1String(key), value);
            const bool mayLoad = value.type() == type
                && (qstrcmp(key, "paused") == 0 || qstrcmp(key, "printerName") == 0
                    || qstrcmp(key, "bluetoothReceiptName") == 0 || qstrcmp(key, "labelPrinterName") == 0);
            EXPECT_EQ(loads(QJsonDocument(object).toJson()), mayLoad) << key << " of type " << value.type();
        }
    }
}

TEST_F(SettingsFile, TakesAWholePaperWidthHoweverItIsWritten)
{
    for (const char* width : {"80", "80.0", "8e1", "800e-1", "58"})
        EXPECT_TRUE(loads(QByteArray(minimal).replace("80", width))) << width;
    for (const char* width :
        {"80.5", "\"80\"", "72", "4294967376", "9223372036854775807", "9223372036854775808", "9223372036854775808.0",
            "-9223372036854775808.0", "18446744073709551616", "1e300", "-80", "080", "80.", "+80"})
        EXPECT_FALSE(loads(QByteArray(minimal).replace("80", width))) << width;
}

TEST_F(SettingsFile, MustBeOneJSONObject)
{
    for (const char* text : {"", " ", "null", "[]", "80", "\"\"", "{", "{}", "{} {}", "\xef\xbb\xbf", "\0{}"})
        EXPECT_FALSE(loads(text)) << text;
    EXPECT_FALSE(loads("[" + minimal + "]"));
    EXPECT_FALSE(loads(minimal + "x"));
    EXPECT_FALSE(loads(minimal + QByteArray(1, '\0')));
    EXPECT_TRUE(loads("\r\n\t " + minimal + " \n"));
}

TEST_F(SettingsFile, IsReadInUTF8Only)
{
    EXPECT_TRUE(loads(QByteArray(minimal).replace(R"("printerName":"")", "\"printerName\":\"\xc3\xbc\"")));
    EXPECT_FALSE(loads(QByteArray(minimal).replace(R"("printerName":"")", "\"printerName\":\"\xfc\"")));
}

} // namespace
