#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

// mcrhost as a whole process, from its start to its end, with its output thrown away: what a person waits for.

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

using Arguments = std::vector<std::string>;
#define MCRHOST_BENCHMARK(name, ...) \
  BENCHMARK_CAPTURE(mcrhost, name, Arguments __VA_ARGS__)->UseRealTime()->Unit(benchmark::kMillisecond)

MCRHOST_BENCHMARK(version, {"--version"});
MCRHOST_BENCHMARK(list, {"list"});
MCRHOST_BENCHMARK(show, {"show", "cp_9A12_0101"});
MCRHOST_BENCHMARK(run_five_calls, {"run", "cp_9A11_0101", "--unit", "cpu:0.0"});
MCRHOST_BENCHMARK(run_on_large_machine, {"run", "cp_9A11_0101", "--unit", "cpu:0.0", "--machine", "large"});
MCRHOST_BENCHMARK(run_crossbar_dump, {"run", "xb_9408_0101", "--unit", "xb:0.0", "--json"});

}  // namespace

BENCHMARK_MAIN();
