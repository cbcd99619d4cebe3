#include "Child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "Command.h"

namespace Agent::Testing {

namespace {

int exitStatus(int status) {
  constexpr int kSignalled = 128;
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

pid_t spawn(const std::vector<std::string>& words, const std::string& out,
            const std::string& errors) {
  std::vector<char*> argv;
  for (const std::string& word : words) {
    argv.push_back(const_cast<char*>(word.c_str()));
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  const int flags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out.c_str(), flags, 0600);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errors.c_str(), flags, 0600);
  pid_t pid = 0;
  const int failed = posix_spawnp(&pid, argv[0], &files, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (failed != 0) {
    throw std::runtime_error("cannot run " + words[0]);
  }
  return pid;
}

}  // namespace

Child::Child(const std::vector<std::string>& words, const std::string& out,
             const std::string& errors)
    : pid_(spawn(words, out, errors)) {}

Child::~Child() {
  if (running()) {
    signal(SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void Child::signal(int number) const { kill(pid_, number); }

std::optional<int> Child::wait(std::chrono::milliseconds longest) {
  (void)eventually(
      [this] {
        int status = 0;
        if (!ended_ && waitpid(pid_, &status, WNOHANG) == pid_) {
          ended_ = exitStatus(status);
        }
        return ended_.has_value();
      },
      longest);
  return ended_;
}

void pause(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

std::string readFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

Outcome run(const std::vector<std::string>& words) {
  std::string directory = "/tmp/conmon-runXXXXXX";
  if (mkdtemp(directory.data()) == nullptr) {
    throw std::runtime_error("no directory for a command's output");
  }
  const std::string out = directory + "/out";
  const std::string errors = directory + "/errors";
  Outcome outcome;
  {
    Child child(words, out, errors);
    const auto status = child.wait(std::chrono::seconds(60));
    if (!status) {
      throw std::runtime_error(words[0] + " does not end");
    }
    outcome = {*status, readFile(out), readFile(errors)};
  }
  unlink(out.c_str());
  unlink(errors.c_str());
  rmdir(directory.c_str());
  return outcome;
}

}  // namespace Agent::Testing
