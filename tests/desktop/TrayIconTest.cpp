#include "app/TrayIcon.h"
#include "adapter/AdapterRig.h"
#include "app/PrinterMenuIcon.h"
#include "desktop/FakeWatcher.h"

#include <QDBusArgument>
#include <QSize>

using namespace harrowmint;
using namespace harrowmint::test;
using namespace std::chrono_literals;
using adapter::letPass;
using adapter::waitFor;

namespace {

const QString itemPath = QStringLiteral("/StatusNotifierItem");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

/// One entry of the exported menu.
struct Entry {
    int identifier = 0;
    QString label;
};

/// The icon as a tray sees it, on the session bus of this process.
class TrayIcons : public ::testing::Test {
protected:
    TrayIcon::Actions actions()
    {
        return {[this] { m_log += QStringLiteral("open"); }, [this] { m_log += QStringLiteral("test"); },
            [this] { m_log += QStringLiteral("quit"); }};
    }
    std::unique_ptr<TrayIcon> makeIcon()
    {
        return std::make_unique<TrayIcon>(m_queue, PrinterMenuIcon::make(true), actions());
    }
    /// Calls the registered item as the tray would, while this thread's loop runs.
    QDBusMessage call(
        const QString& path, const QString& interface, const QString& member, const QVariantList& arguments)
    {
        auto answer = m_watcher.service().call(m_watcher.items().value(0), path, interface, member, arguments);
        EXPECT_TRUE(waitFor([&] { return answer.wait_for(0s) == std::future_status::ready; }));
        return answer.get();
    }
    QVariant property(const QString& name)
    {
        const QDBusMessage reply = call(
            itemPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"), {itemInterface, name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    QString menuPath() { return property(QStringLiteral("Menu")).value<QDBusObjectPath>().path(); }
    std::vector<Entry> menu()
    {
        const QDBusMessage reply =
            call(menuPath(), menuInterface, QStringLiteral("GetLayout"), {0, -1, QStringList(QStringLiteral("label"))});
        std::vector<Entry> entries;
        const auto root = reply.arguments().value(1).value<QDBusArgument>();
        int identifier = 0;
        QVariantMap properties;
        root.beginStructure();
        root >> identifier >> properties;
        root.beginArray();
        while (!root.atEnd()) {
            QDBusVariant child;
            root >> child;
            const auto structure = child.variant().value<QDBusArgument>();
            structure.beginStructure();
            structure >> identifier >> properties;
            structure.endStructure();
            entries.push_back({identifier, properties.value(QStringLiteral("label")).toString()});
        }
        root.endArray();
        root.endStructure();
        return entries;
    }
    void choose(int identifier)
    {
        call(menuPath(), menuInterface, QStringLiteral("Event"),
            {identifier, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(QString())), 0U});
    }

    QtQueue m_queue;
    FakeWatcher m_watcher{qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")};
    QStringList m_log;
};

// First of all: what the toolkit finds out at the first look holds for the whole process.
TEST_F(TrayIcons, AppearWhenTheDesktopsTrayComesAfterTheAgent)
{
    const auto icon = makeIcon();
    letPass(100ms);
    EXPECT_FALSE(icon->isShown());
    m_watcher.start();
    EXPECT_TRUE(waitFor([&] { return !m_watcher.items().isEmpty(); }));
    EXPECT_TRUE(icon->isShown());
}

TEST_F(TrayIcons, TellWhatTheyAreFor)
{
    m_watcher.start();
    const auto icon = makeIcon();
    ASSERT_TRUE(waitFor([&] { return !m_watcher.items().isEmpty(); }));
    EXPECT_EQ(property(QStringLiteral("Status")).toString(), QStringLiteral("Active"));
    const auto toolTip = property(QStringLiteral("ToolTip")).value<QDBusArgument>();
    QString name;
    QString title;
    QString text;
    toolTip.beginStructure();
    toolTip >> name;
    toolTip.beginArray();
    while (!toolTip.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray bytes;
        toolTip.beginStructure();
        toolTip >> width >> height >> bytes;
        toolTip.endStructure();
    }
    toolTip.endArray();
    toolTip >> title >> text;
    toolTip.endStructure();
    EXPECT_EQ(title, QStringLiteral("Harrowmint Printer — open settings"));
}

TEST_F(TrayIcons, HaveAPictureForSmallAndLargeTrays)
{
    m_watcher.start();
    const auto icon = makeIcon();
    ASSERT_TRUE(waitFor([&] { return !m_watcher.items().isEmpty(); }));
    const auto pictures = property(QStringLiteral("IconPixmap")).value<QDBusArgument>();
    QList<int> sides;
    pictures.beginArray();
    while (!pictures.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray bytes;
        pictures.beginStructure();
        pictures >> width >> height >> bytes;
        pictures.endStructure();
        EXPECT_EQ(width, height);
        EXPECT_EQ(bytes.size(), qsizetype{4} * width * height);
        sides += width;
    }
    pictures.endArray();
    EXPECT_TRUE(sides.contains(22)) << ::testing::PrintToString(sides);
    EXPECT_TRUE(sides.contains(64)) << ::testing::PrintToString(sides);
}

TEST_F(TrayIcons, OfferTheirThreeChoices)
{
    m_watcher.start();
    const auto icon = makeIcon();
    ASSERT_TRUE(waitFor([&] { return !m_watcher.items().isEmpty(); }));
    const std::vector<Entry> entries = menu();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].label, QStringLiteral("Open Harrowmint Printer"));
    EXPECT_EQ(entries[1].label, QStringLiteral("Print test receipt"));
    EXPECT_EQ(entries[2].label, QStringLiteral("Quit"));
    for (const Entry& entry : entries)
        choose(entry.identifier);
    EXPECT_TRUE(waitFor([&] { return m_log.size() == 3; }));
    EXPECT_EQ(m_log, (QStringList{QStringLiteral("open"), QStringLiteral("test"), QStringLiteral("quit")}));
}

TEST_F(TrayIcons, OpenTheWindowOnAClick)
{
    m_watcher.start();
    const auto icon = makeIcon();
    ASSERT_TRUE(waitFor([&] { return !m_watcher.items().isEmpty(); }));
    call(itemPath, itemInterface, QStringLiteral("Activate"), {10, 10});
    EXPECT_TRUE(waitFor([&] { return !m_log.isEmpty(); }));
    EXPECT_EQ(m_log, QStringList(QStringLiteral("open")));
}

TEST_F(TrayIcons, GoToATrayThatHasBeenRestarted)
{
    m_watcher.start();
    const auto icon = makeIcon();
    ASSERT_TRUE(waitFor([&] { return m_watcher.items().size() == 1; }));
    m_watcher.stop();
    letPass(50ms);
    m_watcher.start();
    EXPECT_TRUE(waitFor([&] { return m_watcher.items().size() == 2; }));
    EXPECT_EQ(m_watcher.items()[0], m_watcher.items()[1]);
}

TEST_F(TrayIcons, WaitForAHostToCome)
{
    m_watcher.setHost(false);
    m_watcher.start();
    const auto icon = makeIcon();
    letPass(100ms);
    EXPECT_FALSE(icon->isShown());
    m_watcher.setHost(true);
    EXPECT_TRUE(waitFor([&] { return icon->isShown(); }));
}

} // namespace
