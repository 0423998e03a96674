#include "virtual/lights.h"

#include <cerrno>
#include <stdexcept>

#include "virtual/board.h"
#include "virtual/files.h"
#include "virtual/text.h"

namespace vboard {

namespace {
constexpr const char* kFile = "light";  // "fail" or the raw value
}

Lights::Lights() {
  auto text = readFile(boardFile(kFile));
  if (!text && errno != ENOENT) throw std::runtime_error("cannot read \"light\": " + systemError());
  if (!text) return;
  while (text->ends_with('\n')) text->pop_back();
  if (*text == "fail") return;
  const auto value = parseNumber(*text);
  if (!value || *value > UINT16_MAX) throw std::runtime_error("\"light\" holds neither \"fail\" nor a 16-bit value");
  m_board = static_cast<uint16_t>(*value);
}

std::optional<uint16_t> Lights::board() const {
  const std::lock_guard guard(m_mutex);
  return m_board;
}

int Lights::setBoard(std::optional<uint16_t> value) {
  const std::lock_guard guard(m_mutex);
  const std::string text = value ? std::to_string(*value) : "fail";
  if (replaceFile(boardFile(kFile), text + "\n") != 0) return -1;
  m_board = value;
  return 0;
}

}  // namespace vboard
