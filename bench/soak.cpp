// A long mixed load on the daemon, in six parts. It fails when, after the first minute, resident memory has grown by
// more than 64 kB, when descriptors or threads have become more, or when the last part is slower than the first.
//
//   soak MINUTES
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "childprocess.h"
#include "kadctl/clienterror.h"
#include "support/mixed_load.h"

namespace {

using namespace bench;
using testing_support::BoardChanges;
using testing_support::MixedLoadClient;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kParts = 6;
constexpr unsigned kClients = 4;
constexpr long kMostGrowthKb = 64;
constexpr double kMostSlowdown = 1.1;
// So that the worker keeps up: a backlog of writes would be memory that grows and shrinks.
constexpr auto kPause = milliseconds(1);

double cpuSeconds(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0, system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

long entries(pid_t pid, const char* what) {
  const auto all = std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/" + what);
  return std::distance(begin(all), end(all));
}

// Microseconds of processor time that a fixed piece of work takes here and now: memory, and bytes through the kernel.
double yardstickUs() {
  static std::vector<unsigned char> memory(256 << 10);
  timespec before{}, after{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("pipe");
  for (size_t i = 0; i < memory.size(); i += 4096) {
    for (size_t k = i; k < i + 4096; k += 16) memory[k] = static_cast<unsigned char>(memory[k] * 5 + 1);
    if (::write(ends[1], &memory[i], 4096) != 4096 || ::read(ends[0], &memory[i], 4096) != 4096) break;
  }
  ::close(ends[0]);
  ::close(ends[1]);
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
  return static_cast<double>(after.tv_sec - before.tv_sec) * 1e6 +
         static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e3;
}

struct Part {
  double seconds = 0, cpu = 0, yardstickUs = 0;  // the last: its mean
  size_t requests = 0;
  long residentKb = 0;                              // at its end
  long descriptors = LONG_MAX, threads = LONG_MAX;  // the fewest: files that a request opens come and go
  double rate() const { return static_cast<double>(requests) / seconds; }
  double cost() const { return cpuUs() / yardstickUs; }
  double cpuUs() const { return cpu * 1e6 / static_cast<double>(requests); }
};

// The clients, and what changes the board, until the object goes.
class Load {
 public:
  explicit Load(const std::string& board) {
    for (unsigned i = 0; i < kClients; ++i)
      run([this, client = std::make_shared<MixedLoadClient>(board, i)] {
        client->step();
        ++m_requests;
        std::this_thread::sleep_for(kPause);
      });
    run([changes = std::make_shared<BoardChanges>(board)] {
      changes->step();
      std::this_thread::sleep_for(milliseconds(100));
    });
  }
  ~Load() {
    m_over = true;
    for (auto& thread : m_threads) thread.join();
  }
  size_t requests() const { return m_requests; }
  bool failed() const { return m_failed; }

 private:
  template <class Step>
  void run(Step step) {
    m_threads.emplace_back([this, step] {
      try {
        while (!m_over) step();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        m_failed = true;
      }
    });
  }
  std::atomic<bool> m_over{false}, m_failed{false};
  std::atomic<size_t> m_requests{0};
  std::vector<std::thread> m_threads;
};

Part measure(const Load& load, pid_t pid, double seconds) {
  Part part;
  const auto start = Clock::now();
  const size_t first = load.requests();
  const double cpu = cpuSeconds(pid);
  const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - start).count(); };
  int looks = 0;
  while (elapsed() < seconds && !load.failed()) {
    std::this_thread::sleep_for(milliseconds(50));
    part.yardstickUs += (yardstickUs() - part.yardstickUs) / ++looks;
    part.descriptors = std::min(part.descriptors, entries(pid, "fd"));
    part.threads = std::min(part.threads, entries(pid, "task"));
  }
  part.seconds = elapsed();
  part.requests = load.requests() - first;
  part.cpu = cpuSeconds(pid) - cpu;
  part.residentKb = residentKb(pid);
  return part;
}

void print(const char* name, const Part& part) {
  std::printf(
      "%-8s %7.0f s %9zu requests %6.0f /s %6.1f us CPU each (yardstick %5.1f) %6ld kB %3ld descriptors %2ld threads\n",
      name, part.seconds, part.requests, part.rate(), part.cpuUs(), part.yardstickUs, part.residentKb, part.descriptors,
      part.threads);
  std::fflush(stdout);
}

bool holds(bool condition, const std::string& what) {
  std::printf("%s  %s\n", condition ? "ok    " : "FAILED", what.c_str());
  return condition;
}

// Other work on the desk slows the load, and takes caches away from all; what remains beside the yardstick is the
// daemon's.
bool judge(const Part& warm, const std::vector<Part>& parts) {
  const Part &first = parts.front(), &last = parts.back();
  const long growth = last.residentKb - warm.residentKb;
  const double slower = first.rate() / last.rate(), dearer = last.cost() / first.cost();
  char memory[96], speed[128];
  std::snprintf(memory, sizeof memory, "resident memory grew by %ld kB after the warm-up, at most %ld", growth,
                kMostGrowthKb);
  std::snprintf(speed, sizeof speed,
                "the last part takes %.2f times the first's time, %.2f times its processor time by the yardstick",
                slower, dearer);
  bool good = holds(growth <= kMostGrowthKb, memory);
  good &= holds(last.descriptors <= first.descriptors, "descriptors stay as many");
  good &= holds(last.threads == first.threads, "threads stay as many");
  good &= holds(std::min(slower, dearer) <= kMostSlowdown, speed);
  return good;
}

void awaitDaemon(const std::string& board) {
  for (int attempt = 0;; ++attempt) {
    try {
      kadctl::MonitorClient(board).command("bus");
      if (kadctl::BusClient::taken(board, TIRK_MCUC::kTaskKadrend)) return;
    } catch (const kadctl::ClientError&) {
      if (attempt == 500) throw;
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
}

int soak(double minutes) {
  const ScratchDirectory board;
  std::ofstream(board.path() + "/board.conf") << "fpga_load_ms = 20\n";
  const ChildProcess daemon = startDaemon(board.path());
  awaitDaemon(board.path());
  const double seconds = minutes * 60, warmUp = std::min(60.0, seconds / 4);
  const Load load(board.path());
  const Part warm = measure(load, daemon.pid(), warmUp);
  print("warm-up", warm);
  std::vector<Part> parts;
  for (int i = 0; i < kParts && !load.failed(); ++i) {
    parts.push_back(measure(load, daemon.pid(), (seconds - warmUp) / kParts));
    print(("part " + std::to_string(i + 1)).c_str(), parts.back());
  }
  return !load.failed() && judge(warm, parts) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return soak(count > 1 ? std::atof(arguments[1]) : 5);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
