#include "support/Files.h"

#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace harrowmint::test {
namespace {

struct Digests {
    QByteArray receipts; ///< of what we print
    QByteArray ordinary; ///< of the toolkit's own text: differs where the environment took effect
};

Digests digests(const QList<std::pair<QString, QString>>& variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : variables)
        environment.insert(name, value);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(HARROWMINT_BIN_DIR "/render_digest"), {});
    EXPECT_TRUE(process.waitForFinished(100000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    const QByteArray output = process.readAllStandardOutput();
    const qsizetype probe = output.indexOf("ordinary");
    EXPECT_EQ(output.first(qMax<qsizetype>(probe, 0)).count('\n'), 4);
    return {output.first(qMax<qsizetype>(probe, 0)), output.sliced(qMax<qsizetype>(probe, 0))};
}

const Digests& normal()
{
    static const Digests result = digests({});
    return result;
}

class Environment : public ::testing::Test {
protected:
    QString write(const char* name, const QByteArray& text)
    {
        const QString path = m_folder.filePath(QString::fromUtf8(name));
        writeFile(path, text);
        return path;
    }

    QString fontSettings(const QByteArray& rules)
    {
        return write("fonts.conf",
            "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig>" + rules + "<cachedir>"
                + m_folder.path().toUtf8() + "/cache</cachedir></fontconfig>");
    }

    QTemporaryDir m_folder;
};

const QByteArray systemFonts = "<dir>/usr/share/fonts</dir>";

TEST_F(Environment, OfTheScreenDoesNotChangeReceipts)
{
    for (const auto& variable : {std::pair{QStringLiteral("QT_SCALE_FACTOR"), QStringLiteral("2")},
             std::pair{QStringLiteral("QT_SCALE_FACTOR"), QStringLiteral("1.37")},
             std::pair{QStringLiteral("QT_FONT_DPI"), QStringLiteral("200")}}) {
        const Digests changed = digests({variable});
        EXPECT_EQ(changed.receipts, normal().receipts) << variable.first.toStdString();
        EXPECT_NE(changed.ordinary, normal().ordinary) << variable.first.toStdString() << " took no effect";
    }
}

TEST_F(Environment, OfFontSettingsDoesNotChangeReceipts)
{
    const QByteArray off = "<bool>false</bool></edit>";
    const QString settings =
        fontSettings(systemFonts + "<match target=\"font\"><edit name=\"antialias\" mode=\"assign\">" + off
            + "<edit name=\"hinting\" mode=\"assign\">" + off
            + "<edit name=\"hintstyle\" mode=\"assign\"><const>hintnone</const></edit>"
              "<edit name=\"autohint\" mode=\"assign\"><bool>true</bool></edit><edit name=\"rgba\" "
              "mode=\"assign\"><const>rgb</const></edit>"
              "<edit name=\"embolden\" mode=\"assign\"><bool>true</bool></edit></match>"
              "<match target=\"pattern\"><edit name=\"antialias\" mode=\"assign\">"
            + off + "</match>");
    const Digests changed = digests({{QStringLiteral("FONTCONFIG_FILE"), settings}});
    EXPECT_EQ(changed.receipts, normal().receipts);
    EXPECT_NE(changed.ordinary, normal().ordinary) << "the settings took no effect";
}

TEST_F(Environment, OfSubpixelFontSettingsDoesNotChangeReceipts)
{
    const QString settings = fontSettings(systemFonts
        + "<match target=\"pattern\"><edit name=\"rgba\" mode=\"assign\"><const>vbgr</const></edit>"
          "<edit name=\"hintstyle\" mode=\"assign\"><const>hintfull</const></edit></match>");
    EXPECT_EQ(digests({{QStringLiteral("FONTCONFIG_FILE"), settings}}).receipts, normal().receipts);
}

TEST_F(Environment, ThatPutsAnotherFamilyInOursDoesNotChangeReceipts)
{
    const QString settings = fontSettings(systemFonts
        + "<match target=\"pattern\"><edit name=\"family\" mode=\"assign\" binding=\"strong\">"
          "<string>DejaVu Serif</string></edit></match>");
    const Digests changed = digests({{QStringLiteral("FONTCONFIG_FILE"), settings}});
    EXPECT_EQ(changed.receipts, normal().receipts);
    EXPECT_NE(changed.ordinary, normal().ordinary) << "the settings took no effect";
}

TEST_F(Environment, WithoutAnyFontDoesNotChangeReceipts)
{
    const QString settings = fontSettings("<dir>" + m_folder.path().toUtf8() + "/none</dir>");
    const Digests changed = digests({{QStringLiteral("FONTCONFIG_FILE"), settings}});
    EXPECT_EQ(changed.receipts, normal().receipts);
    EXPECT_NE(changed.ordinary, normal().ordinary) << "the settings took no effect";
}

/// Builds the locale into the folder; false where the system has not what it takes.
bool buildLocale(const QString& name, const QString& folder)
{
    QProcess process;
    process.start(QStringLiteral("localedef"),
        {QStringLiteral("-i"), name, QStringLiteral("-f"), QStringLiteral("UTF-8"), QStringLiteral("--no-archive"),
            folder + u'/' + name + QStringLiteral(".UTF-8")});
    return process.waitForStarted() && process.waitForFinished(100000) && process.exitCode() == 0;
}

TEST_F(Environment, OfTheLanguageDoesNotChangeReceipts)
{
    // DejaVu Sans leaves out ligatures in Spanish and has other letter forms in Serbian.
    for (const char* name : {"es_ES", "sr_RS"}) {
        const QString locale = QString::fromUtf8(name);
        QList<std::pair<QString, QString>> variables = {
            {QStringLiteral("LC_ALL"), locale + QStringLiteral(".UTF-8")}, {QStringLiteral("LANGUAGE"), locale}};
        if (buildLocale(locale, m_folder.path()))
            variables.append({QStringLiteral("LOCPATH"), m_folder.path()});
        EXPECT_EQ(digests(variables).receipts, normal().receipts) << name;
    }
}

} // namespace
} // namespace harrowmint::test
