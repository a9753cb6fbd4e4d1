#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/Printers.h"
