#pragma once

#include "base/FileSystem.h"

#include <QByteArray>
#include <QString>

namespace harrowmint {

/// "Start automatically at login" of this user alone: a launch agent property list, and what makes the choice take
/// effect on a platform where nothing reads property lists. Any one thread; owned by the delegate.
class LoginItem {
public:
    /// The launch agent's label.
    [[nodiscard]] static QString label() { return QStringLiteral("com.harrowmint.printer-agent"); }

    /// `home` is the user's home directory, `executable` the absolute path of the running program. Make it at launch:
    /// the system may call a program that is being replaced by another name.
    LoginItem(QString home, QString executable, FileSystem& files = FileSystem::local());

    /// The path of the property list.
    [[nodiscard]] QString agentURL() const;
    /// Whether the property list is there. Throws std::system_error when that cannot be found out.
    [[nodiscard]] bool isOn() const;
    /// Writes or removes the property list; takes effect at the user's next login. Throws std::system_error; the list
    /// is then the old one or the whole new one, and never there without its effect. Turning off what is off succeeds.
    void configureLogin(bool enabled);

private:
    [[nodiscard]] QByteArray propertyList() const;

    QString m_home;
    QString m_executable;
    FileSystem& m_files;
};

} // namespace harrowmint
