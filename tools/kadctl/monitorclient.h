// The monitor console of a virtual board, from outside.
#pragma once

#include <string>
#include <vector>

#include "kadctl/unixsocket.h"

namespace kadctl {

class MonitorClient {
 public:
  explicit MonitorClient(const std::string& boardDirectory);  // throws ClientError

  // Sends one line and returns the answer's lines, without the closing "ok". Throws ClientError with the console's own
  // text when it answers an error, or when it goes away.
  std::vector<std::string> command(const std::string& line);

 private:
  std::string readLine();

  TIRK_MCUC::UniqueFd m_socket;
  std::string m_pending;  // received, not yet taken
};

}  // namespace kadctl
