// A method call that reads 48 bytes from another process through a D-Bus daemon of its own.
#pragma once

#include <memory>
#include <string>

namespace bench {

class DbusReader {
 public:
  // Starts dbus-daemon with a configuration and a socket in `directory`, and a service beside it.
  explicit DbusReader(const std::string& directory);
  ~DbusReader();
  DbusReader(const DbusReader&) = delete;
  DbusReader& operator=(const DbusReader&) = delete;
  void read();

 private:
  struct State;
  std::unique_ptr<State> m_state;
};

}  // namespace bench
