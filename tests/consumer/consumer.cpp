// Uses the C++ side of the primitive library.
#include <cstdio>

#include "scdb/machine.hpp"
#include "scdb/macros.hpp"
#include "scdb/record.hpp"
#include "scdb/session.hpp"

int main() {
  std::printf("%s, %s\n", scdb::machine().name().c_str(), to_string(scdb::machine().chips().front()).c_str());
}
