// map, time, reset, selftest: the register map, the clock, factory reset and the bus self-test.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "kadctl/session.h"
#include "kadctl/text.h"
#include "proto/registermap.h"
#include "proto/sendparameter.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;
namespace fs = std::filesystem;

constexpr uint32_t kResetCommand = 0x01000002;
constexpr int kResetTimeoutMs = 60000;
constexpr uint32_t kNumberSpace = 0x03100000;  // begins with port 0's card count
constexpr int kRestoreTimeoutMs = 10000;

std::string accessText(int32_t access) {
  std::string text;
  if ((access & kReadable) != 0) text += "r";
  if ((access & kWritable) != 0) text += "w";
  return text.empty() ? "-" : text;
}

void showMap(const Session& session) {
  nlohmann::json rows = nlohmann::json::array();
  for (const RegisterMapEntry& entry : registerMap()) {
    if (session.json) {
      rows.push_back({{"address", entry.address},
                      {"base", entry.base},
                      {"mask", entry.mask},
                      {"space", entry.spaceName},
                      {"class", entry.className},
                      {"name", entry.name},
                      {"access", accessText(entry.access)},
                      {"minimum", entry.length.cmdLenMin},
                      {"maximum", entry.length.cmdLenMax},
                      {"read", entry.reads},
                      {"write", entry.writes}});
      continue;
    }
    std::printf("%s  %-2s  %5d..%-5d  %s\n", hexNumber(entry.address).c_str(), accessText(entry.access).c_str(),
                entry.length.cmdLenMin, entry.length.cmdLenMax, entry.description);
    std::printf("            read   %s\n            write  %s\n", entry.reads, entry.writes);
  }
  if (session.json) std::cout << rows << "\n";
  std::fflush(stdout);
}

bool isDate(int year, int month, int day) {
  return month > 0 && day > 0 &&
         std::chrono::year_month_day(std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                     std::chrono::day(static_cast<unsigned>(day)))
             .ok();
}

// "YYYY-MM-DD HH:MM:SS", 2000..2099, as BCD.
std::vector<uint8_t> parseDateTime(const std::string& text) {
  int field[6];
  char rest = 0;
  const int count = std::sscanf(text.c_str(), "%4d-%2d-%2d%*1[ T]%2d:%2d:%2d%c", &field[0], &field[1], &field[2],
                                &field[3], &field[4], &field[5], &rest);
  const bool good = count == 6 && field[0] >= 2000 && field[0] <= 2099 && isDate(field[0], field[1], field[2]) &&
                    field[3] >= 0 && field[3] < 24 && field[4] >= 0 && field[4] < 60 && field[5] >= 0 && field[5] < 60;
  if (!good) throw CLI::ValidationError("not YYYY-MM-DD HH:MM:SS of 2000..2099: " + text);
  std::vector<uint8_t> bcd;
  for (const int value : field) bcd.push_back(static_cast<uint8_t>(value % 100 / 10 << 4 | value % 10));
  return bcd;
}

std::string timeText(const std::vector<uint8_t>& bcd) {
  char text[32];
  std::snprintf(text, sizeof text, "20%02x-%02x-%02x %02x:%02x:%02x", bcd[0], bcd[1], bcd[2], bcd[3], bcd[4], bcd[5]);
  return text;
}

std::string readTime(Session& session) {
  return timeText(session.bus().read(sendpara::kRegisterBase + sendpara::kDateTime, sendpara::kDateTimeLength));
}

void showOrSetTime(Session& session, const std::vector<std::string>& words) {
  std::string wanted;
  for (const std::string& word : words) wanted += (wanted.empty() ? "" : " ") + word;
  if (!wanted.empty()) {
    const auto bcd = parseDateTime(wanted);
    session.bus().write(sendpara::kRegisterBase + sendpara::kDateTime, bcd);
    session.barrier();
    if (!readTime(session).starts_with(timeText(bcd).substr(0, 16)))
      throw ClientError("the daemon did not set its clock");
  }
  if (session.json) {
    std::cout << nlohmann::json{{"time", readTime(session)}} << "\n";
  } else {
    std::cout << readTime(session) << "\n";
  }
}

bool answers(Session& session) {
  try {
    session.renew();
    return session.bus()
        .ask(BusClient::request(kCodeRead, sendpara::kRegisterBase + sendpara::kMode, 1, {}, {}), 500)
        .has_value();
  } catch (const ClientError&) {
    return false;
  }
}

// Whether the FPGA has its parameters back: without power it forgets its card counts.
bool restored(Session& session) {
  return readWord(session.bus().read(kNumberSpace, 2).data()) != 0;
}

void factoryReset(Session& session, const std::string& type, bool wait) {
  const auto value = static_cast<uint8_t>(parseNumber(type, 2));
  session.bus().write(kResetCommand, std::vector<uint8_t>{value});
  if (!wait) {
    if (session.json) std::cout << nlohmann::json{{"reset", value}} << "\n";
    return;
  }
  if (!session.json) std::cout << "resetting ..." << std::flush;
  const bool gone = session.until([&] { return !answers(session); }, kResetTimeoutMs);
  const bool back = gone && session.until([&] { return answers(session); }, kResetTimeoutMs);
  // The device answers before its FPGA is loaded. One that is not loaded by then stays so: that is as good as it gets.
  if (back) session.until([&] { return restored(session); }, kRestoreTimeoutMs);
  if (!session.json) std::cout << "\n";
  if (!back) throw ClientError("the device did not come back from its reset");
  if (session.json) {
    std::cout << nlohmann::json{{"reset", value}} << "\n";
  } else {
    std::cout << "the device is back in its factory state\n";
  }
}

// The findings that the self-test wrote to the virtual board's log, and how far the log was read.
class SelfTestLog {
 public:
  explicit SelfTestLog(const std::string& board) : m_directory(fs::path(board) / "root/log") { take(); }

  std::vector<std::string> take() {
    std::vector<std::string> findings;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(m_directory, none)) {
      std::ifstream file(entry.path());
      file.seekg(static_cast<std::streamoff>(m_read[entry.path().string()]));
      for (std::string line; std::getline(file, line);) {
        if (isFinding(line)) findings.push_back(line.substr(line.find("] ") + 2));
      }
      m_read[entry.path().string()] = entry.file_size(none);
    }
    return findings;
  }

 private:
  static bool isFinding(const std::string& line) {
    for (const char* mark :
         {"Read_Write FPGA 0x03", "Write FPGA Position", "Read FPGA Posi", "FPGA NumberFunCardPort"}) {
      if (line.find(mark) != std::string::npos) return true;
    }
    return false;
  }

  fs::path m_directory;
  std::map<std::string, uintmax_t> m_read;
};

void selfTest(Session& session, const std::string& state, double seconds) {
  SelfTestLog log(session.board);
  const uint8_t on = state == "on" ? 1 : 0;
  session.bus().write(sendpara::kRegisterBase + sendpara::kSelfTest, std::vector<uint8_t>{on});
  if (on != 0) std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  session.bus().read(sendpara::kRegisterBase + sendpara::kMode, 1);  // a daemon that is gone has found nothing
  const auto findings = log.take();
  if (session.json) {
    std::cout << nlohmann::json{{"selftest", state}, {"findings", findings}} << "\n";
    return;
  }
  std::cout << "self-test " << state << (on != 0 && findings.empty() ? ", no finding so far" : "") << "\n";
  for (const std::string& finding : findings) std::cout << finding << "\n";
}

}  // namespace

void addDeviceCommands(CLI::App& app, Session& session) {
  app.add_subcommand("map", "The register map")->callback([&session] { showMap(session); });

  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* time = app.add_subcommand("time", "Show or set the device's clock");
  time->add_option("SET", *words, "YYYY-MM-DD HH:MM:SS");
  time->callback([&session, words] { showOrSetTime(session, *words); });

  auto type = std::make_shared<std::string>();
  auto noWait = std::make_shared<bool>(false);
  CLI::App* reset = app.add_subcommand("reset", "Factory reset, and wait until the device is back");
  reset->add_option("TYPE", *type, "0 full, 1 also the network address, 2 keeps scenes, names and card files")
      ->required();
  reset->add_flag("--no-wait", *noWait, "do not wait");
  reset->callback([&session, type, noWait] { factoryReset(session, *type, !*noWait); });

  auto state = std::make_shared<std::string>();
  auto seconds = std::make_shared<double>(1.0);
  CLI::App* selftest = app.add_subcommand("selftest", "The FPGA bus self-test and its findings");
  selftest->add_option("STATE", *state, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
  selftest->add_option("--seconds", *seconds, "how long to listen for findings")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  selftest->callback([&session, state, seconds] { selfTest(session, *state, *seconds); });
}

}  // namespace kadctl
