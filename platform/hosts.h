// The hosts table: hosts.ini in the system folder, section [Hosts], key a host
// name (case ignored), value an address with an optional port ("127.0.0.1",
// "127.0.0.1:8080", "[::1]:8080"). Every web access looks a listed host up
// here before the resolver, so tests and the offline demo can run whole roads
// against servers on loopback while lists and pages keep their real names.
// An entry whose address is no numeric address or whose port lies outside
// 1..65535 is ignored; a missing or broken file changes nothing.
//
// [Trust] Certificate names a PEM file trusted for https to listed hosts only
// (the test web's self-signed certificate); other hosts keep the system's
// trust.
//
// The file is read at each call through the INI engine; thread-safe.
#pragma once

#include <string>
#include <vector>

struct HostEntry {
  std::string name;    // lower case
  std::string address; // numeric; IPv6 without brackets
  bool ipv6 = false;
  unsigned port = 0; // 0: the port the address asks for
};

// The path of hosts.ini in the system folder.
std::string HostsFilePath();

// The valid entries of the table, in file order.
std::vector<HostEntry> ReadHostsTable();

// The entry for host (case ignored, a closing dot dropped), when the table
// has a valid one.
bool LookupHost(const char* host, HostEntry& entry);

// Parses one value of the table. False for anything but a numeric address
// with an optional port in 1..65535.
bool ParseHostValue(const std::string& value, HostEntry& entry);

// The certificate file [Trust] Certificate names, when it names one that
// exists; else empty.
std::string HostsCertificate();
