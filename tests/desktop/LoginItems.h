#pragma once

#include "app/LoginItem.h"
#include "support/FaultyFileSystem.h"

#include <QString>
#include <QtGlobal>

namespace harrowmint::test {

inline const QString home = QStringLiteral("/home/shop");
inline const QString list = home + QStringLiteral("/Library/LaunchAgents/com.harrowmint.printer-agent.plist");
inline const QString program = QStringLiteral("/usr/bin/harrowmint-printer");

/// Sets an environment variable for one test.
class Variable {
public:
    Variable(const char* name, const QByteArray& value)
        : m_name(name)
        , m_before(qgetenv(name))
    {
        qputenv(name, value);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { qputenv(m_name, m_before); }

private:
    const char* m_name;
    QByteArray m_before;
};

class LoginItems : public ::testing::Test {
protected:
    Variable m_noConfigurationHome{"XDG_CONFIG_HOME", {}};
    FaultyFileSystem m_files;
    LoginItem m_item{home, program, m_files};
};

} // namespace harrowmint::test
