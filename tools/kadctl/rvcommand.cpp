// rv: the configuration files of receiving cards, kept on the controller and replayed to every card.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "kadctl/session.h"
#include "kadctl/text.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kHeader = 0x0F000000;
constexpr uint32_t kNameList = 0x0F000800;
constexpr size_t kNameListLength = 0x800;
constexpr uint32_t kFirstStart = 0x2000;  // behind the name list
constexpr uint32_t kStartStep = 0x1000;
constexpr uint32_t kAreaEnd = 0x800000;
constexpr uint32_t kReplay = 0x0FF00100;
constexpr size_t kHeaderEntry = 32;
constexpr size_t kMostFiles = 16;
constexpr uint16_t kPiece = 1024;

struct RvFile {
  std::string name;
  std::vector<uint8_t> bytes;
  uint32_t start = 0;  // relative to the space
};

std::vector<RvFile> placeFiles(const std::vector<std::string>& names) {
  if (names.size() > kMostFiles) throw CLI::ValidationError("at most 16 files");
  std::vector<RvFile> files;
  uint32_t start = kFirstStart;
  for (const std::string& name : names) {
    const std::string bytes = readFile(name);
    RvFile file{std::filesystem::path(name).filename().string(), {bytes.begin(), bytes.end()}, start};
    if (file.bytes.empty()) throw ClientError(name + " is empty");
    if (file.bytes.size() > kAreaEnd - start) throw ClientError("the files do not fit: 8 MiB are there");
    start += (static_cast<uint32_t>(file.bytes.size()) + kStartStep - 1) / kStartStep * kStartStep;
    files.push_back(std::move(file));
  }
  return files;
}

std::vector<uint8_t> makeHeader(const std::vector<RvFile>& files) {
  std::vector<uint8_t> header(kHeaderEntry * (1 + files.size()));
  header[0] = 1;
  header[1] = static_cast<uint8_t>(files.size());
  for (size_t i = 0; i < files.size(); ++i) DWT_ENCDW(&header[kHeaderEntry * (1 + i) + 4], files[i].start);
  return header;
}

std::vector<uint8_t> makeNameList(const std::vector<RvFile>& files) {
  std::vector<uint8_t> list;
  for (const RvFile& file : files) {
    list.insert(list.end(), file.name.begin(), file.name.end());
    list.push_back('\n');
  }
  if (list.size() > kNameListLength) throw ClientError("the file names are too long");
  return list;
}

void progress(const Session& session, const std::string& what, size_t done, size_t all) {
  if (session.json || ::isatty(STDOUT_FILENO) == 0) return;
  std::cout << "\r" << what << " " << 100 * done / std::max<size_t>(1, all) << " %" << (done == all ? "\n" : "")
            << std::flush;
}

void writePieces(Session& session, const RvFile& file) {
  for (size_t at = 0; at < file.bytes.size(); at += kPiece) {
    const auto piece = Bytes(file.bytes).subspan(at, std::min<size_t>(kPiece, file.bytes.size() - at));
    session.bus().write(kHeader + file.start + static_cast<uint32_t>(at), piece);
    progress(session, file.name, at + piece.size(), file.bytes.size());
  }
}

void verify(Session& session, const RvFile& file) {
  for (size_t at = 0; at < file.bytes.size(); at += kPiece) {
    const auto wanted = Bytes(file.bytes).subspan(at, std::min<size_t>(kPiece, file.bytes.size() - at));
    const auto stored =
        session.bus().read(kHeader + file.start + static_cast<uint32_t>(at), static_cast<uint16_t>(wanted.size()));
    if (!std::equal(wanted.begin(), wanted.end(), stored.begin(), stored.end())) {
      throw ClientError(file.name + " reads back differently at byte " + std::to_string(at));
    }
  }
}

void putFiles(Session& session, const std::vector<std::string>& names) {
  const auto files = placeFiles(names);
  const auto list = makeNameList(files);
  session.bus().write(kHeader, makeHeader(files));
  session.bus().write(kNameList, list);
  nlohmann::json stored = nlohmann::json::array();
  for (const RvFile& file : files) writePieces(session, file);
  session.barrier();
  for (const RvFile& file : files) {
    verify(session, file);
    stored.push_back({{"name", file.name}, {"number", stored.size()}, {"bytes", file.bytes.size()}});
  }
  if (session.json) {
    std::cout << stored << "\n";
  } else {
    for (size_t i = 0; i < files.size(); ++i) {
      std::cout << "file " << i << ": " << files[i].name << ", " << files[i].bytes.size() << " bytes, verified\n";
    }
  }
}

// How many files the controller holds; an erased header names none.
uint32_t storedFiles(Session& session) {
  const uint8_t count = session.bus().read(kHeader, kHeaderEntry).at(1);
  return count <= kMostFiles ? count : 0;
}

void replay(Session& session, const std::string& text) {
  const uint32_t number = parseNumber(text, kMostFiles - 1);
  if (const uint32_t count = storedFiles(session); number >= count) {
    throw ClientError("there is no file " + text + ": the controller holds " + std::to_string(count));
  }
  session.bus().write(kReplay + number, std::vector<uint8_t>{1});
  size_t ticks = 0;
  session.barrier(600000, [&] {
    if (!session.json && ++ticks % 25 == 0) std::cout << "." << std::flush;
  });
  if (session.json) {
    std::cout << nlohmann::json{{"replayed", number}} << "\n";
  } else {
    std::cout << (ticks >= 25 ? "\n" : "") << "file " << number << " was replayed to every card\n";
  }
}

}  // namespace

void addRvCommand(CLI::App& app, Session& session) {
  CLI::App* rv = app.add_subcommand("rv", "Configuration files of receiving cards");
  rv->require_subcommand(1);
  auto files = std::make_shared<std::vector<std::string>>();
  CLI::App* put = rv->add_subcommand("put", "Store files on the controller and verify them");
  put->add_option("FILE", *files)->required();
  put->callback([&session, files] { putFiles(session, *files); });
  auto number = std::make_shared<std::string>();
  CLI::App* replaying = rv->add_subcommand("replay", "Send a stored file to every receiving card");
  replaying->add_option("N", *number, "file number 0..15")->required();
  replaying->callback([&session, number] { replay(session, *number); });
}

}  // namespace kadctl
