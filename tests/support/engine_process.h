#pragma once
// Runs the built tesmar binary as a child process with pipes: write lines, read lines with a
// timeout. Every read has a deadline so that a hanging engine fails the test instead of blocking it.
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace testsupport {

class EngineProcess {
 public:
  // Starts the engine (TESMAR_BINARY unless a path is given) in workingDir (current dir if empty),
  // with optional extra command-line arguments.
  explicit EngineProcess(const std::string& workingDir = "", std::vector<std::string> args = {},
                         const std::string& binary = "");
  ~EngineProcess();
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;

  bool running() const { return pid_ > 0; }
  // Writes text followed by a newline.
  void send(const std::string& line);
  // Writes raw bytes (no newline added).
  void sendRaw(const std::string& text);
  // Closes the engine's standard input.
  void closeInput();
  // Next line without its newline, or nothing when the timeout passes or the output ends.
  std::optional<std::string> readLine(int timeoutMs = 5000);
  // Reads lines until one starts with prefix; returns it (nothing on timeout). Lines read on the way
  // are appended to `seen` when given.
  std::optional<std::string> waitFor(const std::string& prefix, int timeoutMs = 10000,
                                     std::vector<std::string>* seen = nullptr);
  // Everything that arrives within the time (for checking that nothing is printed).
  std::vector<std::string> drain(int timeoutMs);
  // Waits for the process to end; returns its exit code, or -1 on timeout (then it is killed).
  int waitExit(int timeoutMs = 10000);
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int toChild_ = -1;
  int fromChild_ = -1;
  std::string buffer_;
  bool eof_ = false;
};

// Path of the shared test data directory; empty when it does not exist.
std::string dataDir();
// A fresh empty temporary directory, removed with its contents when the test program exits.
std::string makeTempDir();

}  // namespace testsupport
