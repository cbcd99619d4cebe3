#include "agent/snmp/SnmpEndpoint.h"

#include <fmt/format.h>
#include <linux/filter.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "agent/Readable.h"
#include "agent/StartError.h"
#include "agent/Version.h"
#include "agent/config/Settings.h"
#include "agent/snmp/AccessChecks.h"
#include "agent/snmp/ContextCommunities.h"
#include "agent/snmp/NetSnmp.h"

// Of net-snmp's stock modules; no header of the library declares it.
extern "C" void init_system_mib(void);

namespace Agent {

namespace {

/// What net-snmp calls the program: decides which directives of a configuration apply.
constexpr const char* kType = "snmpd";

/// Seconds between tries to reach an AgentX master, and between pings while there is one. The stock
/// 15 would leave a restarted master without us for as long.
constexpr int kMasterInterval = 2;

/// How long a master may take to answer. net-snmp waits on the spot, with everything else standing
/// still, and its alarms, counted from before that wait, never end when it is longer than their
/// interval. Stock is a second, and whole seconds are all that its configuration knows.
constexpr std::chrono::microseconds kMasterWait{333'333};

/// Called for each session that is being opened; the requests it will send are AgentX's when it is
/// one with a master (RFC 2741, 6.1).
int limitMasterWait(int /*major*/, int /*minor*/, void* session, void* /*client*/) {
  auto* opened = static_cast<netsnmp_session*>(session);
  if ((opened->flags & SNMP_FLAGS_STREAM_SOCKET) != 0) {
    opened->timeout = kMasterWait.count();
  }
  return SNMPERR_SUCCESS;
}

void set(int which) { netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, which, 1); }
void setAgent(int which) { netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, which, 1); }
void setAgent(int which, int value) { netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, which, value); }

int noteConnected(int /*major*/, int /*minor*/, void* /*session*/, void* connected) {
  *static_cast<bool*>(connected) = true;
  return SNMPERR_SUCCESS;
}

/// Has the kernel drop requests of more than kMaxRequestOctets: net-snmp decodes every varbind of a
/// message before it looks at who sent it, in a time that grows faster than their number.
bool limitRequests(int socket) {
  constexpr std::uint32_t kUdpHeader = 8;  // What a filter of a UDP socket sees begins with it.
  constexpr std::uint32_t kWhole = 0xffff;
  constexpr std::uint32_t kNothing = 0;
  std::array<sock_filter, 4> code{
      {{BPF_LD | BPF_W | BPF_LEN, 0, 0, 0},
       {BPF_JMP | BPF_JGT | BPF_K, 1, 0, SnmpEndpoint::kMaxRequestOctets + kUdpHeader},
       {BPF_RET | BPF_K, 0, 0, kWhole},
       {BPF_RET | BPF_K, 0, 0, kNothing}}};
  const sock_fprog program{code.size(), code.data()};
  return setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

/// False when it is not possible, with the cause in errno, if there is one.
bool listenOn(const char* address) {
  netsnmp_transport* const transport = netsnmp_transport_open_server("snmp", address);
  return transport != nullptr && netsnmp_register_agent_nsap(transport) >= 0 &&
         limitRequests(transport->sock);
}

}  // namespace

class SnmpEndpoint::FdSet {
 public:
  FdSet() { netsnmp_large_fd_set_init(&set_, FD_SETSIZE); }
  FdSet(const FdSet&) = delete;
  FdSet& operator=(const FdSet&) = delete;
  ~FdSet() { netsnmp_large_fd_set_cleanup(&set_); }

  void clear() { NETSNMP_LARGE_FD_ZERO(&set_); }
  void add(int fd) { NETSNMP_LARGE_FD_SET(fd, &set_); }
  [[nodiscard]] bool has(int fd) { return NETSNMP_LARGE_FD_ISSET(fd, &set_) != 0; }
  [[nodiscard]] netsnmp_large_fd_set* get() { return &set_; }

 private:
  netsnmp_large_fd_set set_{};
};

SnmpEndpoint::SnmpEndpoint(const SnmpSettings& settings, Log log)
    : log_(std::move(log)), fds_(std::make_unique<FdSet>()), netSnmpLog_(log_) {
  // MIB texts would be read from wherever the environment says; OIDs are numbers here.
  setenv("MIBS", "", 1);
  set(NETSNMP_DS_LIB_DONT_READ_CONFIGS);
  set(NETSNMP_DS_LIB_DONT_PERSIST_STATE);
  // Even so, net-snmp would make a directory for an index of certificates, where it can.
  set_persistent_directory("/dev/null");
  setAgent(NETSNMP_DS_AGENT_DONT_LOG_TCPWRAPPERS_CONNECTS);
  setAgent(NETSNMP_DS_AGENT_NO_ROOT_ACCESS);
  setAgent(NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS);
  setAgent(NETSNMP_DS_AGENT_MAX_GETBULKREPEATS, settings.maxRepetitions);
  setAgent(NETSNMP_DS_AGENT_MAX_GETBULKRESPONSES, settings.maxVarbinds);
  if (settings.conf) {
    // net-snmp would take a comma for the end of the path, and go on without a file it cannot read.
    const auto why = settings.conf->find(',') == std::string::npos
                         ? whyUnreadable(*settings.conf)
                         : std::optional<std::string>("expected a path without commas");
    if (why) {
      throw StartError(fmt::format("--snmp-conf {}: {}", *settings.conf, *why));
    }
    netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG,
                          settings.conf->c_str());
  }
  if (settings.agentx) {
    beSubagent(*settings.agentx);
  } else {
    init_agent(kType);
    init_system_mib();
    std::string description = fmt::format("sysdescr conmon-snmpd {}", kVersion);
    netsnmp_config(description.data());
    allowLocalReading();
    init_snmp(kType);
    askOncePerRequest(settings.conf.has_value());
    listenAt(settings.listen);
  }
}

SnmpEndpoint::~SnmpEndpoint() {
  masterWatch_.reset();  // net-snmp would free what its callbacks were given.
  snmp_shutdown(kType);
  shutdown_agent();
}

void SnmpEndpoint::listenAt(const std::vector<std::string>& addresses) {
  // Not init_master_agent: it would also open the SMUX port, TCP 199, on every interface.
  constexpr int kDefaultCacheSize = -1;
  netsnmp_set_lookup_cache_size(kDefaultCacheSize);
  for (const std::string& address : addresses) {
    errno = 0;
    netSnmpLog_.quietIs(true);
    const bool listening =
        address.starts_with(kTcp) ? tcpPeers_.listenAt(address) : listenOn(address.c_str());
    netSnmpLog_.quietIs(false);
    if (!listening) {
      const std::string why = errno == 0 ? "not possible" : std::strerror(errno);
      throw StartError(fmt::format("cannot listen on {}: {}", address, why));
    }
  }
}

void SnmpEndpoint::beSubagent(const std::string& master) {
  setAgent(NETSNMP_DS_AGENT_ROLE);
  if (!master.empty()) {
    netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, master.c_str());
  }
  init_agent(kType);
  netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL,
                     kMasterInterval);
  // One try, of kMasterWait: over a reliable stream a repeated request is worth nothing.
  netsnmp_ds_set_int(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_RETRIES, 0);
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_SESSION_INIT, limitMasterWait,
                         nullptr);
  masterWatch_.emplace();
  bool connected = false;
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, noteConnected,
                         &connected);
  init_snmp(kType);
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, noteConnected,
                           &connected, 1);
  if (!connected) {
    log_(fmt::format("no AgentX master at {}; trying again every {} seconds",
                     master.empty() ? "the usual place" : master, kMasterInterval));
  }
}

void SnmpEndpoint::prepare(std::vector<pollfd>& fds) {
  int count = 0;
  int block = 1;
  timeval wait{};
  fds_->clear();
  snmp_select_info2(&count, fds_->get(), &wait, &block);
  for (int fd = 0; fd < count; ++fd) {
    if (fds_->has(fd)) {
      fds.push_back({fd, POLLIN, 0});
    }
  }
  next_.reset();
  if (block == 0) {
    next_ =
        Clock::now() + std::chrono::seconds(wait.tv_sec) + std::chrono::microseconds(wait.tv_usec);
  }
}

bool SnmpEndpoint::dispatch(std::span<const pollfd> fds) {
  fds_->clear();
  bool any = false;
  for (const pollfd& fd : fds) {
    if (fd.revents != 0) {
      fds_->add(fd.fd);
      any = true;
    }
  }
  if (any) {
    snmp_read2(fds_->get());
  } else {
    snmp_timeout();
  }
  return any;
}

void SnmpEndpoint::run() {
  run_alarms();
  netsnmp_check_outstanding_agent_requests();
  if (masterWatch_) {
    masterWatch_->settle();
  }
}

}  // namespace Agent
