#include "e2e/DisplayRig.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>
#include <chrono>
#include <stdexcept>

namespace harrowmint::test {

namespace {

constexpr std::chrono::seconds patience{60};
constexpr int patienceMilliseconds = 60'000;
constexpr unsigned long pauseMilliseconds = 10;

const auto program = QStringLiteral("harrowmint-printer-displayed");
const auto backendProgram = QStringLiteral("harrowmint-virtual-usb");
const auto backendDirectory = QStringLiteral("backend");
const auto runtimeDirectory = QStringLiteral("run");
/// Where a check box, too, takes a click: its text may end long before the widget does.
constexpr int clickInset = 10;

bool isNamed(const QJsonValue& widget, const QString& name)
{
    return widget.toObject().value(QStringLiteral("name")).toString() == name;
}

} // namespace

DisplayRig::DisplayRig()
{
    const QDir home(m_home.path());
    home.mkpath(backendDirectory);
    home.mkpath(runtimeDirectory);
    QFile::setPermissions(home.filePath(runtimeDirectory), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::copy(QStringLiteral(HARROWMINT_BIN_DIR "/") + backendProgram,
        home.filePath(backendDirectory + QLatin1Char('/') + backendProgram));

    // Without its reset it would forget its state with each tool that leaves it.
    m_display.start(QStringLiteral("Xvfb"),
        {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"), QStringLiteral("0"),
            QStringLiteral("1600x1200x24"), QStringLiteral("-nolisten"), QStringLiteral("tcp"),
            QStringLiteral("-noreset")});
    const QDeadlineTimer deadline(patience);
    while (!m_display.canReadLine()) {
        if (deadline.hasExpired() || !m_display.waitForReadyRead(patienceMilliseconds))
            throw std::runtime_error("there is no display: " + m_display.errorString().toStdString());
    }
    m_displayName = QLatin1Char(':') + QString::fromLatin1(m_display.readLine().trimmed());
}

DisplayRig::~DisplayRig()
{
    agent.reset();
    m_display.terminate();
    m_display.waitForFinished();
}

AgentPlace DisplayRig::place() const
{
    const QString noBus = QStringLiteral("unix:path=") + homePath(QStringLiteral("no-bus"));
    return {
        .port = m_port,
        .systemBus = noBus,
        .arguments = {QString::number(m_port), homePath(backendDirectory + QLatin1Char('/') + backendProgram)},
        .environment =
            {
                {QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb")},
                {QStringLiteral("DISPLAY"), m_displayName},
                {QStringLiteral("XDG_RUNTIME_DIR"), homePath(runtimeDirectory)},
                {QStringLiteral("XDG_CONFIG_HOME"), homePath(QStringLiteral(".config"))},
                {QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), noBus},
            },
    };
}

void DisplayRig::startAgent()
{
    agent.emplace(program, m_home.path(), place());
}

int DisplayRig::startAgain()
{
    QProcess process;
    process.setProcessEnvironment(AgentProcess::environment(m_home.path(), place()));
    process.start(QStringLiteral(HARROWMINT_BIN_DIR "/") + program, place().arguments);
    if (!process.waitForFinished(patienceMilliseconds) || process.exitStatus() != QProcess::NormalExit)
        throw std::runtime_error("the second start does not end");
    return process.exitCode();
}

QJsonObject DisplayRig::widget(const QString& name)
{
    const QJsonArray widgets = QJsonDocument::fromJson(agent->ask("widgets")).array();
    for (const QJsonValue& each : widgets) {
        if (isNamed(each, name))
            return each.toObject();
    }
    return {};
}

QJsonObject DisplayRig::waitForWidget(const QString& name, const std::function<bool(const QJsonObject&)>& isSo)
{
    const QDeadlineTimer deadline(patience);
    for (;;) {
        const QJsonObject found = widget(name);
        if (!found.isEmpty() && isSo(found))
            return found;
        if (deadline.hasExpired())
            throw std::runtime_error(
                "not as expected: " + name.toStdString() + " " + QJsonDocument(found).toJson().toStdString());
        QThread::msleep(pauseMilliseconds);
    }
}

void DisplayRig::waitUntilGone(const QString& name)
{
    const QDeadlineTimer deadline(patience);
    while (!widget(name).isEmpty()) {
        if (deadline.hasExpired())
            throw std::runtime_error("still there: " + name.toStdString());
        QThread::msleep(pauseMilliseconds);
    }
}

void DisplayRig::click(const QString& name)
{
    const QJsonObject target =
        waitForWidget(name, [](const QJsonObject& found) { return found[QStringLiteral("enabled")].toBool(); });
    const int x = target[QStringLiteral("x")].toInt() + clickInset;
    const int y = target[QStringLiteral("y")].toInt() + target[QStringLiteral("height")].toInt() / 2;
    runTool({QStringLiteral("mousemove"), QString::number(x), QString::number(y), QStringLiteral("click"),
        QStringLiteral("1")});
}

void DisplayRig::press(const QString& key) const
{
    runTool({QStringLiteral("key"), key});
}

void DisplayRig::focusWindow() const
{
    runTool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
        QStringLiteral("^Harrowmint Printer$"), QStringLiteral("windowfocus")});
}

void DisplayRig::runTool(const QStringList& arguments) const
{
    QProcess tool;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), m_displayName);
    tool.setProcessEnvironment(environment);
    tool.start(QStringLiteral("xdotool"), arguments);
    if (!tool.waitForFinished(patienceMilliseconds) || tool.exitCode() != 0)
        throw std::runtime_error("xdotool failed: " + tool.readAllStandardError().toStdString());
}

void DisplayRig::closeWindow()
{
    static_cast<void>(agent->ask("close"));
    waitUntilGone(QStringLiteral("window"));
}

HttpResponse DisplayRig::request(
    const QByteArray& method, const QByteArray& path, const QByteArray& origin, const QByteArray& body) const
{
    return exchange(m_port, pageRequest(m_port, method, path, origin, body));
}

QStringList DisplayRig::papers() const
{
    const QDir folder(homePath(backendDirectory + QStringLiteral("/papers")));
    return folder.entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name);
}

} // namespace harrowmint::test
