#include "app/LoginItem.h"

#include "app/LoginEffect.h"

#include <QXmlStreamWriter>

namespace harrowmint {

namespace {

const auto launchAgentsDirectory = QStringLiteral("Library/LaunchAgents");
const auto documentType = QStringLiteral(
    R"(<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">)");

/// Seconds before a program that has failed is started again.
constexpr int throttleInterval = 15;

void writeKey(QXmlStreamWriter& xml, const QString& key)
{
    xml.writeTextElement(QStringLiteral("key"), key);
}

void writeString(QXmlStreamWriter& xml, const QString& key, const QString& value)
{
    writeKey(xml, key);
    xml.writeTextElement(QStringLiteral("string"), value);
}

void writeBool(QXmlStreamWriter& xml, const QString& key, bool value)
{
    writeKey(xml, key);
    xml.writeEmptyElement(value ? QStringLiteral("true") : QStringLiteral("false"));
}

} // namespace

LoginItem::LoginItem(QString home, QString executable, FileSystem& files)
    : m_home(std::move(home))
    , m_executable(std::move(executable))
    , m_files(files)
{
}

QString LoginItem::agentURL() const
{
    return m_home + QLatin1Char('/') + launchAgentsDirectory + QLatin1Char('/') + label() + QStringLiteral(".plist");
}

bool LoginItem::isOn() const
{
    return m_files.exists(agentURL());
}

// The list is what the user is shown, so it comes after its effect and goes after it.
void LoginItem::configureLogin(bool enabled)
{
    const QString directory = m_home + QLatin1Char('/') + launchAgentsDirectory;
    if (enabled) {
        loginEffect::apply(m_files, m_home, label(), {m_executable, loginEffect::backgroundArgument()});
        writeFileAtomically(m_files, directory, label() + QStringLiteral(".plist"), propertyList());
        return;
    }
    loginEffect::withdraw(m_files, m_home, label());
    if (!m_files.exists(agentURL()))
        return;
    m_files.remove(agentURL());
    m_files.syncDirectory(directory);
}

QByteArray LoginItem::propertyList() const
{
    QByteArray bytes;
    QXmlStreamWriter xml(&bytes);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeDTD(documentType);
    xml.writeStartElement(QStringLiteral("plist"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
    xml.writeStartElement(QStringLiteral("dict"));
    writeString(xml, QStringLiteral("Label"), label());
    writeKey(xml, QStringLiteral("ProgramArguments"));
    xml.writeStartElement(QStringLiteral("array"));
    xml.writeTextElement(QStringLiteral("string"), m_executable);
    xml.writeTextElement(QStringLiteral("string"), loginEffect::backgroundArgument());
    xml.writeEndElement();
    writeBool(xml, QStringLiteral("RunAtLoad"), true);
    writeString(xml, QStringLiteral("ProcessType"), QStringLiteral("Interactive"));
    writeKey(xml, QStringLiteral("KeepAlive"));
    xml.writeStartElement(QStringLiteral("dict"));
    writeBool(xml, QStringLiteral("SuccessfulExit"), false);
    xml.writeEndElement();
    writeKey(xml, QStringLiteral("ThrottleInterval"));
    xml.writeTextElement(QStringLiteral("integer"), QString::number(throttleInterval));
    xml.writeEndDocument();
    return bytes;
}

} // namespace harrowmint
