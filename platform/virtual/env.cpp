#include <cerrno>
#include <stdexcept>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr const char* kFile = "/data/tirk/etc/sysconf/env";
constexpr std::string_view kNewBoard = "firstboot=0\nver_rootfs=V1.0.B1\ndevice_modelid=5001\n";

// A line of the store, without its end.
struct Line {
  size_t begin;
  size_t length;
};

// Where the key's line is in the text.
std::optional<Line> find(const std::string& text, const std::string& key) {
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    if (end - at > key.size() && text[at + key.size()] == '=' && text.compare(at, key.size(), key) == 0) {
      return Line{at, end - at};
    }
    at = end + 1;
  }
  return std::nullopt;
}

bool storable(const std::string& key, const std::string& value) {
  return !key.empty() && key.find_first_of("=\n") == std::string::npos && value.find('\n') == std::string::npos;
}

std::optional<std::string> load() {
  const auto path = devicePath(kFile);
  if (!path) return std::nullopt;
  auto text = readFile(*path);
  if (text && !text->empty() && !text->ends_with('\n')) text->push_back('\n');  // edited by hand
  return text;
}

int store(const std::string& text) {
  const auto path = devicePath(kFile);
  return path ? replaceFile(*path, text) : -1;
}

}  // namespace

void Env::open() {
  if (load()) return;
  if (errno != ENOENT) throw std::runtime_error("cannot read the environment store: " + systemError());
  if (store(std::string(kNewBoard)) != 0) {
    throw std::runtime_error("cannot make the environment store: " + systemError());
  }
}

std::optional<std::string> Env::get(const std::string& key) {
  const std::lock_guard guard(m_mutex);
  const auto text = load();
  if (!text) return std::nullopt;
  const auto line = find(*text, key);
  if (!line) return std::nullopt;
  return text->substr(line->begin + key.size() + 1, line->length - key.size() - 1);
}

int Env::set(const std::string& key, const std::string& value) {
  if (!storable(key, value)) return -1;
  const std::lock_guard guard(m_mutex);
  auto text = load();
  if (!text && errno != ENOENT) return -1;  // unreadable: what is in it must not be lost
  if (!text) text.emplace();
  const std::string fresh = key + "=" + value;
  if (const auto line = find(*text, key)) {
    if (text->compare(line->begin, line->length, fresh) == 0) return 0;  // a new file costs much of a start's time
    text->replace(line->begin, line->length, fresh);
  } else {
    *text += fresh + "\n";
  }
  return store(*text);
}

int Env::unset(const std::string& key) {
  const std::lock_guard guard(m_mutex);
  auto text = load();
  if (!text) return -1;
  bool found = false;
  // A store that was edited by hand may have it twice.
  for (auto line = find(*text, key); line; line = find(*text, key)) {
    text->erase(line->begin, line->length + 1);
    found = true;
  }
  return found ? store(*text) : -1;
}

}  // namespace vboard
