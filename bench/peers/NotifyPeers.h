/// The peers of bench/notify.cpp, for those that are installed: each registers its benchmarks and
/// says what an entity of it takes. Called once, from the main function.
#pragma once

#include <string>
#include <vector>

namespace BenchNotify {

/// The widths that are measured.
constexpr int widths[] = {0, 1, 10, 100};

/// Registers the peers' benchmarks, named PEER<WIDTH>, and appends the names of the peers.
void peersRegister(std::vector<std::string>& names);
/// Prints the memory of the peers' entities.
void peersMemory();

/// The bytes that each of many calls of `make` leaves allocated.
double bytesEach(void (*make)());
void printMemory(char const* what, double bytes);

} // namespace BenchNotify
