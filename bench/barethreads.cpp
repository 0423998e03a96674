// What a program with the daemon's threads and mirrors takes of memory if it does nothing. Usage: bare_threads BYTES
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

int main(int, char** argv) {
  constexpr int kThreadsBesideMain = 7;
  std::vector<char> mirrors(static_cast<size_t>(std::atoll(argv[1])), 1);
  std::cout << "bare program, " << mirrors.size() << " bytes\n" << std::flush;
  for (int i = 0; i < kThreadsBesideMain; ++i) {
    std::thread([i] {
      const std::string name = "thread " + std::to_string(i) + " allocates in its own arena";
      for (;;) std::this_thread::sleep_for(std::chrono::hours(static_cast<long>(name.size())));
    }).detach();
  }
  std::this_thread::sleep_for(std::chrono::hours(1000));
  return 0;
}
