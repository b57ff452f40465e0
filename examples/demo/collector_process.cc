#include "collector_process.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

extern char** environ;

namespace demo {

namespace {
constexpr const char* kListeningPrefix = "listening on ";
}

CollectorProcess::CollectorProcess(const std::filesystem::path& executable, const std::filesystem::path& dataDirectory,
                                   const std::filesystem::path& configDirectory, const std::string& account) {
  int pipeFds[2];
  if (::pipe(pipeFds) != 0) {
    error_ = std::string("pipe: ") + std::strerror(errno);
    return;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  const std::string program = executable.string();
  std::vector<std::string> arguments = {program,     "--host", "127.0.0.1", "--port", "0", "--data",
                                        dataDirectory.string(), "--config", configDirectory.string(),
                                        "--account", account};
  std::vector<char*> argv;
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const int spawned = posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeFds[1]);
  if (spawned != 0) {
    pid_ = -1;
    ::close(pipeFds[0]);
    error_ = "could not start " + program + ": " + std::strerror(spawned);
    return;
  }
  // The first line carries the address; the rest is read in the background until the collector exits.
  FILE* stream = ::fdopen(pipeFds[0], "r");
  char buffer[512];
  if (!stream || !std::fgets(buffer, sizeof buffer, stream)) {
    error_ = "the collector printed no address";
    if (stream) std::fclose(stream);
    return;
  }
  std::string first(buffer);
  while (!first.empty() && (first.back() == '\n' || first.back() == '\r')) first.pop_back();
  if (first.rfind(kListeningPrefix, 0) != 0) {
    error_ = "unexpected first line from the collector: " + first;
    std::fclose(stream);
    return;
  }
  baseURL_ = first.substr(std::strlen(kListeningPrefix));
  reader_ = std::thread([this, stream] {
    char line[4096];
    while (std::fgets(line, sizeof line, stream)) {
      std::string text(line);
      while (!text.empty() && text.back() == '\n') text.pop_back();
      std::lock_guard lock(mutex_);
      lines_.push_back(std::move(text));
    }
    std::fclose(stream);
  });
}

CollectorProcess::~CollectorProcess() {
  if (pid_ > 0) {
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
  }
  if (reader_.joinable()) reader_.join();
}

std::vector<std::string> CollectorProcess::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

}  // namespace demo
