#include "desktop/LoginItems.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

#include <QDir>
#include <QXmlStreamReader>

using namespace harrowmint;
using namespace harrowmint::test;

namespace {

/// What a property list says, as "key: value" lines; nested ones are indented.
QByteArray readable(QXmlStreamReader& xml, const QByteArray& indent = {})
{
    QByteArray text;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("key"))
            text += indent + xml.readElementText().toUtf8() + ": ";
        else if (xml.name() == QLatin1String("true") || xml.name() == QLatin1String("false"))
            text += xml.name().toUtf8() + (xml.readElementText().isEmpty() ? "\n" : "?\n");
        else if (xml.name() == QLatin1String("string") || xml.name() == QLatin1String("integer"))
            text += xml.name().toUtf8().left(1) + ' ' + xml.readElementText().toUtf8() + '\n';
        else
            text += xml.name().toUtf8() + '\n' + readable(xml, indent + "  ");
    }
    return text;
}

QByteArray readable(const QByteArray& propertyList)
{
    QXmlStreamReader xml(propertyList);
    EXPECT_TRUE(xml.readNextStartElement());
    EXPECT_EQ(xml.name(), QStringLiteral("plist"));
    const QByteArray text = readable(xml);
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return text;
}

TEST_F(LoginItems, HaveTheirListBelowTheHomeDirectory)
{
    EXPECT_EQ(m_item.agentURL(), list);
}

TEST_F(LoginItems, AreWrittenAsALaunchAgentPropertyList)
{
    m_item.configureLogin(true);
    const QByteArray bytes = m_files.disk().bytes(list);
    EXPECT_TRUE(bytes.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")) << bytes.constData();
    EXPECT_TRUE(bytes.contains("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
    EXPECT_TRUE(bytes.contains("<plist version=\"1.0\">"));
    EXPECT_EQ(readable(bytes),
        "dict\n"
        "  Label: s com.harrowmint.printer-agent\n"
        "  ProgramArguments: array\n"
        "s /usr/bin/harrowmint-printer\n"
        "s --background\n"
        "  RunAtLoad: true\n"
        "  ProcessType: s Interactive\n"
        "  KeepAlive: dict\n"
        "    SuccessfulExit: false\n"
        "  ThrottleInterval: i 15\n");
}

TEST_F(LoginItems, NameAProgramWhosePathHasMarkupInIt)
{
    LoginItem(home, QStringLiteral("/opt/a<b>&\"c\"/printer"), m_files).configureLogin(true);
    EXPECT_TRUE(readable(m_files.disk().bytes(list)).contains("s /opt/a<b>&\"c\"/printer\ns --background\n"));
}

TEST_F(LoginItems, AreOnWhenTheListIsThere)
{
    EXPECT_FALSE(m_item.isOn());
    m_item.configureLogin(true);
    EXPECT_TRUE(m_item.isOn());
    m_item.configureLogin(false);
    EXPECT_FALSE(m_item.isOn());
}

TEST_F(LoginItems, ThatAreOffCanBeTurnedOffAndChangeNothing)
{
    m_item.configureLogin(false);
    EXPECT_EQ(m_files.disk().names.size(), 1U);
}

TEST_F(LoginItems, AreReplacedWhenTurnedOnAgain)
{
    LoginItem(home, QStringLiteral("/old/printer"), m_files).configureLogin(true);
    m_item.configureLogin(true);
    EXPECT_TRUE(m_files.disk().bytes(list).contains("<string>/usr/bin/harrowmint-printer</string>"));
    EXPECT_FALSE(m_files.disk().bytes(list).contains("/old/printer"));
}

TEST(LoginItem, KeepsItsFilesToTheUser)
{
    const Variable none("XDG_CONFIG_HOME", {});
    const TemporaryDirectory root;
    const QString place = root.filePath(QStringLiteral("home"));
    LoginItem(place, program).configureLogin(true);
    EXPECT_EQ(modeOf(place + QStringLiteral("/Library/LaunchAgents/com.harrowmint.printer-agent.plist")), 0600U);
    EXPECT_EQ(modeOf(place + QStringLiteral("/Library/LaunchAgents")), 0700U);
    LoginItem(place, program).configureLogin(false);
    EXPECT_TRUE(QDir(place + QStringLiteral("/Library/LaunchAgents")).isEmpty());
}

TEST_F(LoginItems, TellEachFailureOfTurningOnAndNeverClaimWhatHasNoEffect)
{
    m_item.configureLogin(true);
    const int operations = m_files.operations();
    ASSERT_GT(operations, 10);
    for (int failing = 1; failing <= operations; ++failing) {
        FaultyFileSystem files;
        files.failOperation(failing);
        LoginItem item(home, program, files);
        EXPECT_THROW(item.configureLogin(true), std::system_error) << failing;
        const QByteArray bytes = files.disk().bytes(list);
        EXPECT_TRUE(bytes.isNull() || bytes == m_files.disk().bytes(list)) << failing;
        EXPECT_EQ(files.openDescriptors(), 0U);
    }
}

TEST_F(LoginItems, TellEachFailureOfTurningOff)
{
    m_item.configureLogin(true);
    const Disk on = m_files.disk();
    FaultyFileSystem counting(on);
    LoginItem(home, program, counting).configureLogin(false);
    ASSERT_GE(counting.operations(), 3);
    for (int failing = 1; failing <= counting.operations(); ++failing) {
        FaultyFileSystem files(on);
        files.failOperation(failing);
        LoginItem item(home, program, files);
        EXPECT_THROW(item.configureLogin(false), std::system_error) << failing;
    }
}

TEST_F(LoginItems, TellWhenItCannotBeFoundOutWhetherTheyAreOn)
{
    m_files.failOperation(1);
    EXPECT_THROW(static_cast<void>(m_item.isOn()), std::system_error);
}

TEST_F(LoginItems, OutlastALossOfPowerOnceTheyAreTurnedOnOrOff)
{
    m_item.configureLogin(true);
    const Disk on = m_files.diskAfterCrash(m_files.operations(), Loss{Loss::Names::Lost, Loss::Bytes::Lost});
    EXPECT_EQ(on.bytes(list), m_files.disk().bytes(list));
    m_item.configureLogin(false);
    const Disk off = m_files.diskAfterCrash(m_files.operations(), Loss{Loss::Names::Lost, Loss::Bytes::Lost});
    EXPECT_TRUE(off.bytes(list).isNull());
}

} // namespace
