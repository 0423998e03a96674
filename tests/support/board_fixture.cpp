#include "support/board_fixture.h"

#include <cstdlib>
#include <ctime>
#include <sstream>
#include <stdexcept>

#include "mcuctrace.h"

namespace testing_support {

using namespace TIRK_MCUC;

BoardTest::BoardTest(const std::string& config) {
  m_directory.put("board.conf", config);
  g_logLevel = 3;
  std::string error;
  if (vboard::openBoard(m_directory.path().string(), error) != 0) throw std::runtime_error(error);
}

ByteVector BoardTest::fpga(uint32_t address, size_t length) {
  ByteVector out(length);
  if (vboard::board().fpga.read(address, out) != 0) throw std::runtime_error("fpga read");
  return out;
}

void BoardTest::setFpga(uint32_t address, const ByteVector& bytes) {
  if (vboard::board().fpga.write(address, bytes) != 0) throw std::runtime_error("fpga write");
}

ByteVector BoardTest::flash(uint32_t address, size_t length) {
  ByteVector out(length);
  if (vboard::board().flash.read(address, out) != 0) throw std::runtime_error("flash read");
  return out;
}

void BoardTest::setFlash(uint32_t address, const ByteVector& bytes) {
  if (vboard::board().flash.write(address, bytes) != 0) throw std::runtime_error("flash write");
}

std::string BoardTest::env(const std::string& key) {
  return vboard::board().env.get(key).value_or("");
}

void BoardTest::setEnv(const std::string& key, const std::string& value) {
  if (vboard::board().env.set(key, value) != 0) throw std::runtime_error("env set");
}

std::vector<std::string> BoardTest::journalLines() {
  std::istringstream text(journal());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> BoardTest::did(const std::string& prefix) {
  auto lines = journalLines();
  std::erase_if(lines, [&prefix](const std::string& line) { return !line.starts_with(prefix); });
  return lines;
}

void BoardTest::setZone(const char* zone) {
  ::setenv("TZ", zone, 1);
  ::tzset();
}

void BoardTest::setClock(const std::string& text) {
  tm local{};
  if (::strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &local) == nullptr) throw std::runtime_error(text);
  local.tm_isdst = -1;
  // A tenth of a second on, so that the time the test takes does not reach the next second.
  vboard::board().clock.set(int64_t{::mktime(&local)} * 1'000'000 + 100'000);
}

IMD_proto3rd BoardTest::readRequest(uint32_t address, uint16_t length, uint32_t sender) {
  IMD_proto3rd request;
  request.proto.m_ucCode = kCodeRead;
  request.proto.m_uiRegisterUnitAddress = address;
  request.proto.m_usValidDataLength = length;
  request.ipcHeader.uiid = sender;
  return request;
}

IMD_proto3rd BoardTest::writeRequest(uint32_t address, const ByteVector& data, uint32_t sender) {
  IMD_proto3rd request = readRequest(address, static_cast<uint16_t>(data.size()), sender);
  request.proto.m_ucCode = kCodeWrite;
  request.proto.m_data = data;
  return request;
}

}  // namespace testing_support
