// The hosts table, read through the INI engine (which caps the size it reads
// and caches the parse while the file is unchanged), so a hostile file costs
// one bounded parse and its entries are checked one by one.
#include "platform/hosts.h"

#include <arpa/inet.h>
#include <sys/stat.h>

#include "platform/ascii.h"
#include "platform/ini.h"
#include "platform/sysdirs.h"

namespace {

bool ParsePort(const std::string& text, unsigned& port) {
  if (text.empty() || text.size() > 5)
    return false;
  unsigned value = 0;
  for (char c : text) {
    if (c < '0' || c > '9')
      return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  if (value < 1 || value > 65535)
    return false;
  port = value;
  return true;
}

} // namespace

std::string HostsFilePath() {
  return SystemFolderPath() + "/hosts.ini";
}

bool ParseHostValue(const std::string& value, HostEntry& entry) {
  std::string address;
  std::string port;
  entry.ipv6 = false;
  if (!value.empty() && value[0] == '[') {
    std::size_t close = value.find(']');
    if (close == std::string::npos)
      return false;
    address = value.substr(1, close - 1);
    std::string rest = value.substr(close + 1);
    if (!rest.empty()) {
      if (rest[0] != ':')
        return false;
      port = rest.substr(1);
      if (port.empty())
        return false;
    }
    entry.ipv6 = true;
  } else {
    std::size_t colon = value.find(':');
    address = value.substr(0, colon);
    if (colon != std::string::npos) {
      port = value.substr(colon + 1);
      if (port.empty())
        return false;
    }
  }
  unsigned char probe[16];
  if (inet_pton(entry.ipv6 ? AF_INET6 : AF_INET, address.c_str(), probe) != 1)
    return false;
  entry.port = 0;
  if (!port.empty() && !ParsePort(port, entry.port))
    return false;
  entry.address = address;
  return true;
}

std::vector<HostEntry> ReadHostsTable() {
  std::vector<HostEntry> table;
  std::string file = HostsFilePath();
  struct stat st {};
  if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
    return table;
  for (const std::string& name : IniKeys(file.c_str(), "Hosts")) {
    HostEntry entry;
    std::string value;
    if (name.empty() || name.find_first_of(" \t:/") != std::string::npos ||
        !IniLookup(file.c_str(), "Hosts", name.c_str(), value) || !ParseHostValue(value, entry))
      continue;
    entry.name = AsciiLower(name);
    table.push_back(entry);
  }
  return table;
}

bool LookupHost(const char* host, HostEntry& entry) {
  if (host == nullptr || *host == '\0')
    return false;
  std::string name = AsciiLower(host);
  if (name.size() > 1 && name.back() == '.')
    name.pop_back();
  std::string file = HostsFilePath();
  struct stat st {};
  std::string value;
  if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode) ||
      name.find_first_of(" \t:/") != std::string::npos ||
      !IniLookup(file.c_str(), "Hosts", name.c_str(), value) || !ParseHostValue(value, entry))
    return false;
  entry.name = name;
  return true;
}

std::string HostsCertificate() {
  std::string file = HostsFilePath();
  struct stat st {};
  if (stat(file.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
    return std::string();
  std::string certificate = IniReadString(file.c_str(), "Trust", "Certificate");
  if (certificate.empty() || stat(certificate.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
    return std::string();
  return certificate;
}
