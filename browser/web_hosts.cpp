// The hosts table in the engine. Chromium resolves through its own rules, so
// the table becomes one resolver switch at start; a listed host that
// presents the table's own certificate (a test server's, made at its start)
// is let through by the page's certificate check.
#include "browser/web_hosts.h"

#include <QList>
#include <QSslCertificate>
#include <QUrl>
#include <QWebEngineCertificateError>
#include <QWebEnginePage>

#include "platform/hosts.h"

std::vector<std::string> HostResolverArguments() {
  std::string rules;
  for (const HostEntry& entry : ReadHostsTable()) {
    std::string address = entry.ipv6 ? "[" + entry.address + "]" : entry.address;
    if (entry.port != 0)
      address += ":" + std::to_string(entry.port);
    rules += (rules.empty() ? "" : ",") + std::string("MAP ") + entry.name + " " + address;
  }
  if (rules.empty())
    return {};
  return {"--host-resolver-rules=" + rules};
}

void TrustListedHosts(QWebEnginePage* page) {
  QObject::connect(page, &QWebEnginePage::certificateError,
                   [](const QWebEngineCertificateError& error) {
                     HostEntry listed;
                     std::string host = error.url().host().toStdString();
                     std::string file = HostsCertificate();
                     QList<QSslCertificate> chain = error.certificateChain();
                     if (file.empty() || chain.isEmpty() || !LookupHost(host.c_str(), listed))
                       return;
                     for (const QSslCertificate& trusted :
                          QSslCertificate::fromPath(QString::fromStdString(file))) {
                       if (trusted == chain.first()) {
                         QWebEngineCertificateError accepted = error;
                         accepted.acceptCertificate();
                         return;
                       }
                     }
                   });
}
