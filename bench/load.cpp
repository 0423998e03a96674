// Keeps a daemon busy with reads and writes in turn. Usage: load BOARD SECONDS. Status 1 when it does not answer.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "daemon.h"

int main(int argc, char** argv) {
  using namespace TIRK_MCUC;
  if (argc != 3) return 2;
  try {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(argv[2]));
    const std::vector<uint8_t> data(16, 1);
    bench::RawExchange read(argv[1],
                            kadctl::BusClient::request(kCodeRead, bench::kPositionSpace, bench::kReadLength, {}, {}));
    bench::RawExchange write(argv[1], kadctl::BusClient::request(kCodeWrite, bench::kEchoSpace + 16, 16, data, {}));
    do {
      read();
      write();
    } while (std::chrono::steady_clock::now() < end);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "load: %s\n", failure.what());
    return 1;
  }
}
