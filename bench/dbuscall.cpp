#include "dbuscall.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "childprocess.h"

namespace bench {

namespace {

constexpr const char* kService = "org.kadrend.Bench";
constexpr const char* kObject = "/registers";
constexpr const char* kInterface = "org.kadrend.Registers";

int answer(sd_bus_message* request, void*, sd_bus_error*) {
  static constexpr std::array<uint8_t, 256> kRegisters{};
  uint32_t address = 0, length = 0;
  if (const int result = sd_bus_message_read(request, "uu", &address, &length); result < 0) return result;
  sd_bus_message* reply = nullptr;
  int result = sd_bus_message_new_method_return(request, &reply);
  if (result >= 0) result = sd_bus_message_append_array(reply, 'y', kRegisters.data(), length);
  if (result >= 0) result = sd_bus_send(nullptr, reply, nullptr);
  sd_bus_message_unref(reply);
  return result;
}

constexpr sd_bus_vtable kMethods[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Read", "uu", "ay", answer, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};

// Null when there is no daemon at the address yet.
sd_bus* connectTo(const std::string& address) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  if (sd_bus_set_address(bus, address.c_str()) >= 0 && sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0) {
    return bus;
  }
  sd_bus_unref(bus);
  return nullptr;
}

sd_bus* waitForDaemon(const std::string& address, const std::string& socket) {
  for (int i = 0; i < 5000; ++i) {
    if (::access(socket.c_str(), F_OK) == 0) {
      if (sd_bus* bus = connectTo(address)) return bus;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  throw std::runtime_error("no D-Bus daemon");
}

void serve(const std::string& address, const std::string& socket) {
  sd_bus* bus = waitForDaemon(address, socket);
  if (sd_bus_add_object_vtable(bus, nullptr, kObject, kInterface, kMethods, nullptr) < 0) return;
  if (sd_bus_request_name(bus, kService, 0) < 0) return;
  for (;;) {
    const int result = sd_bus_process(bus, nullptr);
    if (result < 0 || (result == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)) return;
  }
}

void writeConfiguration(const std::string& file, const std::string& address) {
  std::ofstream(file) << "<busconfig><listen>" << address << "</listen><policy context=\"default\">"
                      << "<allow user=\"*\"/><allow own=\"*\"/><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                      << "<allow eavesdrop=\"true\"/></policy></busconfig>\n";
}

}  // namespace

struct DbusReader::State {
  ChildProcess daemon;
  ChildProcess service;
  sd_bus* bus = nullptr;
};

DbusReader::DbusReader(const std::string& directory) : m_state(std::make_unique<State>()) {
  const std::string socket = directory + "/dbus";
  const std::string address = "unix:path=" + socket;
  const std::string configuration = directory + "/dbus.conf";
  writeConfiguration(configuration, address);
  m_state->daemon = ChildProcess([&] {
    ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);  // it may not raise its limits
    const std::string option = "--config-file=" + configuration;
    ::execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile", "--nosyslog", nullptr);
  });
  m_state->service = ChildProcess([&] { serve(address, socket); });
  m_state->bus = waitForDaemon(address, socket);
  for (int i = 0; i < 5000; ++i) {
    if (sd_bus_get_name_creds(m_state->bus, kService, 0, nullptr) >= 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  throw std::runtime_error("no D-Bus service");
}

DbusReader::~DbusReader() {
  sd_bus_unref(m_state->bus);
}

void DbusReader::read() {
  sd_bus_message* reply = nullptr;
  const void* data = nullptr;
  size_t length = 0;
  if (sd_bus_call_method(m_state->bus, kService, kObject, kInterface, "Read", nullptr, &reply, "uu", 0x03000000U, 48U) <
          0 ||
      sd_bus_message_read_array(reply, 'y', &data, &length) < 0 || length != 48) {
    throw std::runtime_error("D-Bus call");
  }
  sd_bus_message_unref(reply);
}

}  // namespace bench
