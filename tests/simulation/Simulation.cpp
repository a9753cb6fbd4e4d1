#include "Simulation.h"

#include <QString>
#include <cstdio>
#include <gtest/gtest.h>

namespace harrowmint::test {

namespace {

constexpr std::uint64_t firstSeed = 20'000'000;

std::uint64_t setting(const char* name, std::uint64_t otherwise)
{
    bool given = false;
    const qulonglong value = qEnvironmentVariable(name).toULongLong(&given);
    return given ? value : otherwise;
}

} // namespace

void simulate(const char* name, int runs, const std::function<QStringList(std::uint64_t seed)>& run)
{
    const std::uint64_t first = setting("HARROWMINT_SIMULATION_SEED", firstSeed);
    const std::uint64_t count = setting("HARROWMINT_SIMULATION_RUNS", static_cast<std::uint64_t>(runs));
    std::printf("%s: %llu runs from seed %llu\n", name, static_cast<unsigned long long>(count),
        static_cast<unsigned long long>(first));
    std::fflush(stdout);
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const QStringList broken = run(seed);
        ASSERT_TRUE(broken.isEmpty() && !testing::Test::HasFailure()) << name << ", seed " << seed << ":\n"
                                                                      << broken.join(QLatin1Char('\n')).toStdString();
    }
}

} // namespace harrowmint::test
