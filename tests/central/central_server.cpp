#include "tests/central/central_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/harness/wire.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

std::string folder_of_tools() {
  for (const fs::directory_entry& version : fs::directory_iterator("/usr/lib/postgresql")) {
    if (fs::exists(version.path() / "bin/initdb")) return (version.path() / "bin").string();
  }
  throw std::runtime_error("there is no PostgreSQL server (Debian package postgresql)");
}

int listen_on_loopback(std::string& port) {
  std::uint16_t number = 0;
  const int listening = wire::listen(number);
  if (listening < 0) throw std::runtime_error("no port is free");
  port = std::to_string(number);
  return listening;
}

int connect_to(const std::string& port) {
  return wire::connect("127.0.0.1", static_cast<std::uint16_t>(std::stoi(port)));
}

std::vector<pid_t> children_of(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(process) + "/children");
  std::vector<pid_t> children;
  for (pid_t child = 0; file >> child;) children.push_back(child);
  return children;
}

// A minute, however busy this PC is.
int status_of(Child& child) {
  for (int tries = 1; tries < 6; ++tries) {
    try {
      return child.exit_status();
    } catch (const std::runtime_error&) {
      continue;
    }
  }
  return child.exit_status();
}

int run(const std::vector<std::string>& command) {
  Child child(command);
  return status_of(child);
}

}  // namespace

std::string free_port() {
  std::string port;
  close(listen_on_loopback(port));
  return port;
}

CentralServer::CentralServer() : tools_(folder_of_tools()), port_(free_port()) {
  if (getuid() == 0 && chown(directory_.path().c_str(), kNobody, kNobody) != 0)
    throw std::runtime_error("the folder cannot be the server's");
  if (run(as_nobody({tool("initdb"), "-D", file("data"), "-U", "admin", "-A", "trust", "-E", "UTF8",
                     "--locale=C", "--no-sync", "--no-instructions"})) != 0) {
    throw std::runtime_error("initdb has failed");
  }
  write("data/pg_hba.conf", "host all locked 127.0.0.1/32 scram-sha-256\nhost all all 127.0.0.1/32 trust\n");
  std::ofstream(file("data/postgresql.conf"), std::ios::app)
      << "listen_addresses = '127.0.0.1'\nunix_socket_directories = ''"
         "\nfsync = off\nshared_buffers = 16MB\nmax_wal_size = 64MB\nautovacuum = off\nmax_connections = "
         "60\n";
  // Somebody else may have taken the port since it was free.
  for (int tries = 1; tries < 20 && !try_to_start(); ++tries) port_ = free_port();
  start();
  sql("postgres",
      "CREATE ROLE station LOGIN; CREATE ROLE maker LOGIN; CREATE ROLE locked LOGIN PASSWORD 'old'");
}

CentralServer::~CentralServer() {
  kill();  // nothing of it is kept
}

std::vector<std::string> CentralServer::as_nobody(std::vector<std::string> command) const {
  std::vector<std::string> words{"/usr/bin/setpriv", "--pdeathsig=QUIT"};
  if (getuid() == 0) {
    for (const std::string id : {"--reuid=", "--regid="}) words.push_back(id + std::to_string(kNobody));
    words.push_back("--clear-groups");
  }
  words.insert(words.end(), command.begin(), command.end());
  return words;
}

bool CentralServer::try_to_start() {
  server_ = std::make_unique<Child>(as_nobody({tool("postgres"), "-D", file("data"), "-p", port_}));
  try {
    while (server_->next_err_line("the server").find("ready to accept connections") == std::string::npos) {
      continue;
    }
    return true;
  } catch (const std::runtime_error&) {
    server_.reset();
    return false;
  }
}

void CentralServer::start() {
  // What a killed one held is let go when the last of its processes has noticed.
  for (int tries = 0; !server_ && tries < 100; ++tries) try_to_start();
  if (!server_) throw std::runtime_error("the server does not start at port " + port_);
}

void CentralServer::stop() {
  if (!server_) return;
  server_->signal(SIGINT);  // whoever is connected is sent away
  status_of(*server_);
  server_.reset();
}

void CentralServer::restart_with(const std::string& settings) {
  stop();
  std::ofstream(file("data/postgresql.conf"), std::ios::app) << settings;
  start();
}

void CentralServer::kill() {
  if (!server_) return;
  const std::vector<pid_t> workers = children_of(server_->pid());
  server_->signal(SIGKILL);
  for (const pid_t worker : workers) ::kill(worker, SIGKILL);
  server_->exit_status();
  server_.reset();
}

std::string CentralServer::url(const std::string& database, const std::string& role,
                               const std::string& more) const {
  return url_at(port_, database, role) + (more.empty() ? "" : "?" + more);
}

std::string CentralServer::url_at(const std::string& port, const std::string& database,
                                  const std::string& role) const {
  return "postgresql://" + role + "@127.0.0.1:" + port + "/" + database;
}

std::string CentralServer::sql(const std::string& database, const std::string& statements,
                               const std::string& role) const {
  Child shell({tool("psql"), "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-d", url(database, role), "-c",
               statements});
  std::string text = status_of(shell) == 0 ? shell.rest() : shell.err();
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

void CentralServer::write(std::string_view name, std::string_view content) const {
  const std::string path = file(name);
  std::ofstream(path) << content;
  fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  if (getuid() == 0 && chown(path.c_str(), kNobody, kNobody) != 0)
    throw std::runtime_error(path + " cannot be the server's");
}

SwallowingNetwork::SwallowingNetwork(const std::string& to_port)
    : to_port_(to_port), listening_(listen_on_loopback(port_)), thread_([this] { work(); }) {}

SwallowingNetwork::~SwallowingNetwork() {
  is_ending_ = true;
  close(connect_to(port_));  // so that it looks
  thread_.join();
  close(listening_);
}

void SwallowingNetwork::work() {
  std::array<int, 2> ends{-1, -1};  // of the station, of the server
  std::array<char, 65536> bytes{};
  while (!is_ending_) {
    std::array<pollfd, 3> items{{{listening_, POLLIN, 0}, {ends[0], POLLIN, 0}, {ends[1], POLLIN, 0}}};
    poll(items.data(), items.size(), -1);
    for (const std::size_t from : {0U, 1U}) {
      if (items[from + 1].revents == 0) continue;
      const ssize_t size = read(ends[from], bytes.data(), bytes.size());
      if (size > 0 && !is_swallowing_) {
        if (write(ends[1 - from], bytes.data(), static_cast<std::size_t>(size)) == size) continue;
      }
      if (size > 0) continue;
      close(std::exchange(ends[from], -1));
      if (!is_swallowing_ && ends[1 - from] >= 0) close(std::exchange(ends[1 - from], -1));
    }
    if (items[0].revents == 0) continue;
    for (int& end : ends) {
      if (end >= 0) close(end);
    }
    ends = {accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC), is_ending_ ? -1 : connect_to(to_port_)};
  }
  for (const int end : ends) {
    if (end >= 0) close(end);
  }
}
