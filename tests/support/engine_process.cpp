#include "support/engine_process.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

namespace testsupport {

namespace {
int64_t monotonicMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}
}  // namespace

EngineProcess::EngineProcess(const std::string& workingDir, std::vector<std::string> args,
                             const std::string& binary) {
  signal(SIGPIPE, SIG_IGN);
  int in[2], out[2];
  if (pipe(in) != 0 || pipe(out) != 0) return;
  const std::string path = binary.empty() ? std::string(TESMAR_BINARY) : binary;
  pid_ = fork();
  if (pid_ == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    close(in[0]);
    close(in[1]);
    close(out[0]);
    close(out[1]);
    if (!workingDir.empty() && chdir(workingDir.c_str()) != 0) _exit(127);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.c_str()));
    for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  toChild_ = in[1];
  fromChild_ = out[0];
}

EngineProcess::~EngineProcess() {
  closeInput();
  waitExit(3000);  // kills it when it does not end
  if (fromChild_ >= 0) close(fromChild_);
}

void EngineProcess::send(const std::string& line) { sendRaw(line + "\n"); }

void EngineProcess::sendRaw(const std::string& text) {
  if (toChild_ < 0) return;
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(toChild_, text.data() + done, text.size() - done);
    if (n <= 0) return;
    done += size_t(n);
  }
}

void EngineProcess::closeInput() {
  if (toChild_ >= 0) close(toChild_);
  toChild_ = -1;
}

std::optional<std::string> EngineProcess::readLine(int timeoutMs) {
  const int64_t deadline = monotonicMs() + timeoutMs;
  for (;;) {
    const size_t nl = buffer_.find('\n');
    if (nl != std::string::npos) {
      std::string line = buffer_.substr(0, nl);
      buffer_.erase(0, nl + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return line;
    }
    if (eof_ || fromChild_ < 0) return std::nullopt;
    const int64_t left = deadline - monotonicMs();
    if (left <= 0) return std::nullopt;
    pollfd p{fromChild_, POLLIN, 0};
    const int r = poll(&p, 1, int(left));
    if (r <= 0) continue;
    char chunk[4096];
    const ssize_t n = read(fromChild_, chunk, sizeof chunk);
    if (n <= 0) {
      eof_ = true;
      continue;
    }
    buffer_.append(chunk, size_t(n));
  }
}

std::optional<std::string> EngineProcess::waitFor(const std::string& prefix, int timeoutMs,
                                                  std::vector<std::string>* seen) {
  const int64_t deadline = monotonicMs() + timeoutMs;
  for (int64_t left; (left = deadline - monotonicMs()) > 0;) {
    auto line = readLine(int(left));
    if (!line) break;
    if (seen) seen->push_back(*line);
    if (line->rfind(prefix, 0) == 0) return line;
  }
  return std::nullopt;
}

std::vector<std::string> EngineProcess::drain(int timeoutMs) {
  std::vector<std::string> lines;
  const int64_t deadline = monotonicMs() + timeoutMs;
  for (int64_t left; (left = deadline - monotonicMs()) > 0;) {
    auto line = readLine(int(left));
    if (!line) break;
    lines.push_back(*line);
  }
  return lines;
}

int EngineProcess::waitExit(int timeoutMs) {
  if (pid_ <= 0) return -1;
  const int64_t deadline = monotonicMs() + timeoutMs;
  for (;;) {
    int status = 0;
    const pid_t r = waitpid(pid_, &status, WNOHANG);
    if (r == pid_) {
      pid_ = -1;
      if (WIFEXITED(status)) return WEXITSTATUS(status);
      return 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    }
    if (monotonicMs() > deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      pid_ = -1;
      return -1;
    }
    usleep(2000);
  }
}

std::string dataDir() {
  struct stat st{};
  const char* dir = TESMAR_DATA_DIR;
  if (stat(dir, &st) == 0 && S_ISDIR(st.st_mode)) return dir;
  return "";
}

std::string makeTempDir() {
  static struct Sweeper {
    std::vector<std::string> dirs;
    ~Sweeper() {
      std::error_code ignored;
      for (const std::string& dir : dirs) std::filesystem::remove_all(dir, ignored);
    }
  } sweeper;
  char pattern[] = "/tmp/tesmar-test-XXXXXX";
  if (!mkdtemp(pattern)) return "/tmp";
  sweeper.dirs.push_back(pattern);
  return pattern;
}

}  // namespace testsupport
