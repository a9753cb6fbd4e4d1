#pragma once

#include <string_view>

namespace harrowmint {

/// Names the calling thread after a queue label such as "com.example.http", shortened to its last part where the system
/// keeps only short names. For people who look at the process; failing to name a thread is no error.
void nameThisThread(std::string_view label);

} // namespace harrowmint
