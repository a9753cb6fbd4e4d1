#include "app/LoginEffect.h"

namespace harrowmint::loginEffect {

// The system reads the property list itself.
void apply(FileSystem&, const QString&, const QString&, const QStringList&) { }
void withdraw(FileSystem&, const QString&, const QString&) { }

} // namespace harrowmint::loginEffect
