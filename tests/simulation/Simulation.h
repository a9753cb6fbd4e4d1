#pragma once

#include <QStringList>
#include <cstdint>
#include <functional>

namespace harrowmint::test {

/// Runs `run` for many seeds and stops at the first that breaks a promise (a line each in what it returns), naming the
/// seed. HARROWMINT_SIMULATION_SEED sets the first seed, HARROWMINT_SIMULATION_RUNS the number of runs: the failing
/// seed and 1 repeat a failure.
void simulate(const char* name, int runs, const std::function<QStringList(std::uint64_t seed)>& run);

} // namespace harrowmint::test
