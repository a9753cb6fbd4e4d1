#include "desktop/LoginItems.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

const QString autostart = home + QStringLiteral("/.config/autostart/com.harrowmint.printer-agent.desktop");

/// The line of a desktop entry that begins with `key`=, its string escapes undone.
QString entryValue(const QByteArray& entry, const QString& key)
{
    for (const QString& line : QString::fromUtf8(entry).split(QLatin1Char('\n'))) {
        if (!line.startsWith(key + QLatin1Char('=')))
            continue;
        QString value;
        for (qsizetype i = key.size() + 1; i < line.size(); ++i) {
            if (line[i] != QLatin1Char('\\')) {
                value += line[i];
                continue;
            }
            const QChar code = line.at(++i);
            value += code == QLatin1Char('n') ? QLatin1Char('\n')
                : code == QLatin1Char('t')    ? QLatin1Char('\t')
                : code == QLatin1Char('r')    ? QLatin1Char('\r')
                : code == QLatin1Char('s')    ? QLatin1Char(' ')
                                              : code;
        }
        return value;
    }
    return QStringLiteral("(none)");
}

/// The arguments of an Exec value in which each is quoted; "(bad)" for a field code or an unescaped reserved character.
QStringList commandLine(const QString& exec)
{
    QStringList arguments;
    bool isQuoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar character = exec[i];
        if (character == QLatin1Char('"')) {
            isQuoted = !isQuoted;
            if (isQuoted)
                arguments += QString();
        } else if (!isQuoted) {
            if (character != QLatin1Char(' '))
                return {QStringLiteral("(bad)")};
        } else if (character == QLatin1Char('\\')) {
            arguments.last() += exec.at(++i);
        } else if (character == QLatin1Char('%')) {
            if (exec.at(++i) != QLatin1Char('%'))
                return {QStringLiteral("(bad)")};
            arguments.last() += character;
        } else if (character == QLatin1Char('$') || character == QLatin1Char('`')) {
            return {QStringLiteral("(bad)")};
        } else {
            arguments.last() += character;
        }
    }
    return isQuoted ? QStringList{QStringLiteral("(bad)")} : arguments;
}

TEST_F(LoginItems, TakeEffectThroughTheDesktopsAutostartFolder)
{
    m_item.configureLogin(true);
    EXPECT_EQ(m_files.disk().bytes(autostart),
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Version=1.0\n"
        "Name=Harrowmint Printer\n"
        "Comment=Prints receipts and labels for approved web stores\n"
        "Icon=harrowmint-printer\n"
        "TryExec=/usr/bin/harrowmint-printer\n"
        "Exec=\"/usr/bin/harrowmint-printer\" \"--background\"\n"
        "Terminal=false\n"
        "StartupNotify=false\n");
    m_item.configureLogin(false);
    EXPECT_TRUE(m_files.disk().bytes(autostart).isNull());
}

TEST_F(LoginItems, TakeTheAutostartEntryAwayEvenWhenTheListIsGone)
{
    m_item.configureLogin(true);
    m_files.remove(list);
    m_item.configureLogin(false);
    EXPECT_TRUE(m_files.disk().bytes(autostart).isNull());
}

TEST_F(LoginItems, NeverShowAListWithoutItsAutostartEntry)
{
    m_item.configureLogin(true);
    for (int failing = 1; failing <= m_files.operations(); ++failing) {
        FaultyFileSystem files;
        files.failOperation(failing, true);
        LoginItem item(home, program, files);
        EXPECT_THROW(item.configureLogin(true), std::system_error);
        EXPECT_TRUE(files.disk().bytes(list).isNull() || !files.disk().bytes(autostart).isNull()) << failing;
    }
}

TEST_F(LoginItems, UseTheConfigurationFolderThatTheUserHasChosen)
{
    const Variable chosen("XDG_CONFIG_HOME", "/elsewhere/settings");
    m_item.configureLogin(true);
    const QString entry = QStringLiteral("/elsewhere/settings/autostart/com.harrowmint.printer-agent.desktop");
    EXPECT_FALSE(m_files.disk().bytes(entry).isNull());
    EXPECT_TRUE(m_files.disk().bytes(autostart).isNull());
    m_item.configureLogin(false);
    EXPECT_TRUE(m_files.disk().bytes(entry).isNull());
}

TEST_F(LoginItems, IgnoreAConfigurationFolderThatIsNotAnAbsolutePath)
{
    const Variable chosen("XDG_CONFIG_HOME", "settings");
    m_item.configureLogin(true);
    EXPECT_FALSE(m_files.disk().bytes(autostart).isNull());
}

class AutostartPath : public ::testing::TestWithParam<QString> { };

TEST_P(AutostartPath, IsReadBackAsItIs)
{
    const Variable none("XDG_CONFIG_HOME", {});
    FaultyFileSystem files;
    LoginItem(home, GetParam(), files).configureLogin(true);
    const QByteArray entry = files.disk().bytes(autostart);
    EXPECT_EQ(entry.count('\n'), 10);
    EXPECT_EQ(entryValue(entry, QStringLiteral("TryExec")), GetParam());
    EXPECT_EQ(commandLine(entryValue(entry, QStringLiteral("Exec"))),
        (QStringList{GetParam(), QStringLiteral("--background")}));
}

INSTANTIATE_TEST_SUITE_P(Each, AutostartPath,
    ::testing::Values(QStringLiteral("/opt/Harrowmint Printer/printer"), QStringLiteral("/opt/\"quoted\"/printer"),
        QStringLiteral("/opt/back\\slash/printer"), QStringLiteral("/opt/$HOME/`id`/printer"),
        QStringLiteral("/opt/100%/%f/%%/printer"), QStringLiteral("/opt/a;b&c|d<e>f(g)*?#~'/printer"),
        QStringLiteral("/opt/new\nline\ttab\r/printer"), QStringLiteral("/opt/متجر é/printer"),
        QStringLiteral("/opt/%1%2/printer")));

TEST(Autostart, KeepsItsEntryToTheUser)
{
    const Variable none("XDG_CONFIG_HOME", {});
    const TemporaryDirectory root;
    const QString place = root.filePath(QStringLiteral("home"));
    LoginItem(place, program).configureLogin(true);
    EXPECT_EQ(modeOf(place + QStringLiteral("/.config/autostart/com.harrowmint.printer-agent.desktop")), 0600U);
    EXPECT_EQ(modeOf(place + QStringLiteral("/.config/autostart")), 0700U);
    EXPECT_EQ(modeOf(place + QStringLiteral("/.config")), 0700U);
}

} // namespace
