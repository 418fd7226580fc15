// The hosts table (hosts.ini of the system folder) in the browser program's
// engine: listed hosts resolve to their addresses, and the certificate that
// the table trusts is accepted for them, and for them only.
#pragma once

#include <string>
#include <vector>

class QWebEnginePage;

// The engine's switch that maps every listed host to its address
// ("--host-resolver-rules=MAP a.test 127.0.0.1:8080,MAP b.test 10.0.0.1"),
// or nothing when the table is missing or empty. It holds blanks, so it goes
// among the application's arguments, which the engine reads as well.
std::vector<std::string> HostResolverArguments();

// Accepts a certificate error of page for a listed host when the server's
// certificate is the one hosts.ini's [Trust] Certificate names.
void TrustListedHosts(QWebEnginePage* page);
