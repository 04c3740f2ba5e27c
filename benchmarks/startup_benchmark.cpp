#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

// Loading the libraries, and mcrhost as a whole process, from its start to its end, with its output thrown away: what a
// person waits for.

namespace {

/// @return whether the program ended with exit status 0.
bool run(std::vector<std::string> words) {
  std::vector<char *> arguments;
  for (std::string &word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  if (posix_spawn_file_actions_init(&quiet) != 0)
    return false;
  pid_t process = 0;
  int status = -1;
  const bool good = posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0) == 0
                    && posix_spawn(&process, MCRHOST, &quiet, nullptr, arguments.data(), environ) == 0
                    && waitpid(process, &status, 0) == process && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  posix_spawn_file_actions_destroy(&quiet);
  return good;
}

void mcrhost(benchmark::State &state, const std::vector<std::string> &arguments) {
  std::vector<std::string> words{MCRHOST};
  words.insert(words.end(), arguments.begin(), arguments.end());
  for (auto _ : state)
    if (!run(words)) {
      state.SkipWithError("mcrhost did not end well");
      return;
    }
}

/// Loads a library, with what it needs, in a child process.  @return the seconds it took there; negative when it
/// failed.
double load(const char *library) {
  int ends[2];
  if (pipe(ends) != 0)
    return -1;
  const pid_t child = fork();
  if (child == 0) {
    const auto start = std::chrono::steady_clock::now();
    const bool loaded = dlopen(library, RTLD_NOW) != nullptr;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    _exit(loaded && write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
  }
  close(ends[1]);
  double seconds = -1;
  if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds)
    seconds = -1;
  close(ends[0]);
  if (child > 0)
    waitpid(child, nullptr, 0);
  return seconds;
}

void load(benchmark::State &state, const char *library) {
  for (auto _ : state) {
    const double seconds = load(library);
    if (seconds < 0) {
      state.SkipWithError("the library was not loaded");
      return;
    }
    state.SetIterationTime(seconds);
  }
}
BENCHMARK_CAPTURE(load, libscdb, SCDB_LIBRARY)->UseManualTime();
BENCHMARK_CAPTURE(load, both_libraries, MACRO_LIBRARY)->UseManualTime();

using Arguments = std::vector<std::string>;
#define MCRHOST_BENCHMARK(name, ...) \
  BENCHMARK_CAPTURE(mcrhost, name, Arguments __VA_ARGS__)->UseRealTime()->Unit(benchmark::kMillisecond)

MCRHOST_BENCHMARK(version, {"--version"});
MCRHOST_BENCHMARK(list, {"list"});
MCRHOST_BENCHMARK(show, {"show", "cp_9A12_0101"});
MCRHOST_BENCHMARK(run_five_calls, {"run", "cp_9A11_0101", "--unit", "cpu:0.0"});
MCRHOST_BENCHMARK(run_on_large_machine, {"run", "cp_9A11_0101", "--unit", "cpu:0.0", "--machine", "large"});
MCRHOST_BENCHMARK(run_crossbar_dump, {"run", "xb_9408_0101", "--unit", "xb:0.0"});
MCRHOST_BENCHMARK(run_crossbar_dump_as_json, {"run", "xb_9408_0101", "--unit", "xb:0.0", "--json"});

}  // namespace

BENCHMARK_MAIN();
