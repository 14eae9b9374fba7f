// How a program ends, or a command of it, when it cannot do its work.

#pragma once

#include <stdexcept>
#include <string>

namespace quillet::client {

/// The program's exit status, on which scripts rely.
enum class ExitStatus : int {
  done = 0,
  failed = 1,
  wrongUsage = 2,
  interrupted = 130,  ///< By the user. As shells have it.
};

/// The one exception of the client programs: carries what the user is told, in UTF-8, and the exit status.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitStatus status = ExitStatus::failed)
      : std::runtime_error(message), exitStatus(status) {}

  ExitStatus status() const { return exitStatus; }

 private:
  ExitStatus exitStatus;
};

inline Failure wrongUsage(const std::string& message) {
  return Failure(message, ExitStatus::wrongUsage);
}

}  // namespace quillet::client
