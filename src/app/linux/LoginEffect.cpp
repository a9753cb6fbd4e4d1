#include "app/LoginEffect.h"

#include <QtGlobal>

/// An entry in the desktop's autostart folder, as the freedesktop autostart and desktop entry specifications have it.
namespace harrowmint::loginEffect {

namespace {

const auto entryText = QStringLiteral("[Desktop Entry]\n"
                                      "Type=Application\n"
                                      "Version=1.0\n"
                                      "Name=Harrowmint Printer\n"
                                      "Comment=Prints receipts and labels for approved web stores\n"
                                      "Icon=harrowmint-printer\n"
                                      "TryExec=%1\n"
                                      "Exec=%2\n"
                                      "Terminal=false\n"
                                      "StartupNotify=false\n");

QString configurationDirectory(const QString& home)
{
    const QString chosen = qEnvironmentVariable("XDG_CONFIG_HOME");
    // A relative path is to be ignored.
    return chosen.startsWith(QLatin1Char('/')) ? chosen : home + QStringLiteral("/.config");
}

QString autostartDirectory(const QString& home)
{
    return configurationDirectory(home) + QStringLiteral("/autostart");
}

QString entryName(const QString& label)
{
    return label + QStringLiteral(".desktop");
}

/// A value of type string.
QString escaped(QString value)
{
    value.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    value.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
    value.replace(QLatin1Char('\t'), QStringLiteral("\\t"));
    value.replace(QLatin1Char('\r'), QStringLiteral("\\r"));
    return value;
}

/// One argument of Exec, before it is escaped as a string.
QString quoted(const QString& argument)
{
    QString text;
    for (const QChar character : argument) {
        if (QStringLiteral("\"`$\\").contains(character))
            text += QLatin1Char('\\');
        text += character;
        if (character == QLatin1Char('%')) // else it would begin a field code
            text += character;
    }
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QByteArray entry(const QStringList& commandLine)
{
    QStringList arguments;
    for (const QString& argument : commandLine)
        arguments += quoted(argument);
    // In one step: a path that holds "%2" stays what it is.
    return entryText.arg(escaped(commandLine.value(0)), escaped(arguments.join(QLatin1Char(' ')))).toUtf8();
}

} // namespace

void apply(FileSystem& files, const QString& home, const QString& label, const QStringList& commandLine)
{
    writeFileAtomically(files, autostartDirectory(home), entryName(label), entry(commandLine));
}

void withdraw(FileSystem& files, const QString& home, const QString& label)
{
    const QString directory = autostartDirectory(home);
    const QString path = directory + QLatin1Char('/') + entryName(label);
    if (!files.exists(path))
        return;
    files.remove(path);
    files.syncDirectory(directory);
}

} // namespace harrowmint::loginEffect
