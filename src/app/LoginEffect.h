#pragma once

#include "base/FileSystem.h"

#include <QString>
#include <QStringList>

namespace harrowmint::loginEffect {

/// The argument that tells a start by the login item from one by the user.
[[nodiscard]] inline QString backgroundArgument()
{
    return QStringLiteral("--background");
}

/// Has the user's desktop run `commandLine` (an absolute path and its arguments) at each login of the user with this
/// `home`. `label` names the entry. Throws std::system_error; an entry is then the old one or the whole new one. Does
/// nothing where the launch agent property list is enough.
void apply(FileSystem& files, const QString& home, const QString& label, const QStringList& commandLine);

/// Takes that back; succeeds when there is nothing to take back. Throws std::system_error.
void withdraw(FileSystem& files, const QString& home, const QString& label);

} // namespace harrowmint::loginEffect
