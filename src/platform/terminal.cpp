#include "platform/terminal.h"

#include <glib.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

namespace lumisk::terminal {
namespace {

// How long a question may outlive the wish to stop.
constexpr int kLookMilliseconds = 100;

struct Letter {
  std::size_t bytes = 1;
  int columns = 1;
};

Letter letterAt(std::string_view text) {
  const gunichar letter = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  if (letter == static_cast<gunichar>(-1) || letter == static_cast<gunichar>(-2)) return {};
  const auto bytes = static_cast<std::size_t>(g_unichar_to_utf8(letter, nullptr));
  if (g_unichar_iszerowidth(letter)) return {bytes, 0};
  return {bytes, g_unichar_iswide(letter) ? 2 : 1};
}

enum class Input { kReady, kQuiet, kEnded };

Input waitForInput(int descriptor) {
  pollfd waiting{descriptor, POLLIN, 0};
  const int ready = poll(&waiting, 1, kLookMilliseconds);
  if (ready > 0) return Input::kReady;
  return ready == 0 || errno == EINTR ? Input::kQuiet : Input::kEnded;
}

}  // namespace

bool isTerminal(Stream stream) {
  return isatty(static_cast<int>(stream)) == 1;
}

int columns(Stream stream) {
  winsize size{};
  constexpr int kUsual = 80;
  if (ioctl(static_cast<int>(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsual;
  return size.ws_col;
}

int columnsOf(std::string_view text) {
  int taken = 0;
  for (std::size_t at = 0; at < text.size();) {
    const Letter letter = letterAt(text.substr(at));
    taken += letter.columns;
    at += letter.bytes;
  }
  return taken;
}

std::string cutToColumns(std::string_view text, int limit) {
  std::size_t end = 0;
  while (end < text.size()) {
    const Letter letter = letterAt(text.substr(end));
    if (letter.columns > limit) break;
    limit -= letter.columns;
    end += letter.bytes;
  }
  return std::string(text.substr(0, end));
}

std::optional<std::string> readLine(int descriptor, const std::function<bool()>& mustStop) {
  std::string line;
  while (!mustStop()) {
    const Input input = waitForInput(descriptor);
    if (input == Input::kQuiet) continue;
    // One byte at a time: what follows the line belongs to whoever reads next.
    char byte = 0;
    if (input == Input::kEnded || read(descriptor, &byte, 1) != 1) break;
    if (byte == '\n') return line;
    line += byte;
  }
  return std::nullopt;
}

namespace {

// Hides what is typed, for a scope. A signal that ends the program leaves the terminal to the shell, which sets it
// right.
class Hidden {
 public:
  explicit Hidden(int descriptor) : descriptor_(descriptor), isOn_(tcgetattr(descriptor, &before_) == 0) {
    if (!isOn_) return;
    termios hidden = before_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    tcsetattr(descriptor, TCSAFLUSH, &hidden);
  }
  ~Hidden() {
    if (isOn_) tcsetattr(descriptor_, TCSAFLUSH, &before_);
  }
  Hidden(const Hidden&) = delete;
  Hidden& operator=(const Hidden&) = delete;

 private:
  const int descriptor_;
  termios before_{};
  const bool isOn_;
};

}  // namespace

std::optional<std::string> readHiddenLine(int descriptor) {
  const Hidden hidden(descriptor);
  return readLine(descriptor, [] { return false; });
}

}  // namespace lumisk::terminal
