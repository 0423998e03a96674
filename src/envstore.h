// The device's environment store: texts by key that survive a restart. An object holds it open for its scope and hands
// out copies only, so that nothing points into a store that was closed. Objects may nest. Any thread.
//
//   EnvStore env;
//   if (!env) ...   // could not be opened
//   const auto serial = env.get("device_sn");
#pragma once

#include <optional>
#include <string>

namespace TIRK_MCUC {

class EnvStore {
 public:
  EnvStore();   // opens the store
  ~EnvStore();  // closes it, also when it could not be opened
  EnvStore(const EnvStore&) = delete;
  EnvStore& operator=(const EnvStore&) = delete;

  explicit operator bool() const { return m_open; }

  // The value, or nothing when the key is absent, cannot be read, or the store is not open.
  std::optional<std::string> get(const std::string& key) const;
  // Whether the value was stored. Tried also when the store is not open.
  bool set(const std::string& key, const std::string& value);

 private:
  bool m_open;
};

}  // namespace TIRK_MCUC
