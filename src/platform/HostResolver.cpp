#include "platform/HostResolver.h"

#include <QHostAddress>
#include <QHostInfo>
#include <QObject>
#include <QString>
#include <QtEndian>

namespace orvex::platform {
namespace {

class QtHostResolver final : public HostResolver
{
public:
    void lookupIPv4(const std::string &name, Done done) override
    {
        if (name.empty()) {
            done(std::nullopt);
            return;
        }
        // The name reaches the system as the bytes it was given.
        QHostInfo::lookupHost(QString::fromLatin1(name.data(), qsizetype(name.size())), &m_context,
                              [done = std::move(done)](const QHostInfo &info) {
                                  for (const QHostAddress &a : info.addresses()) {
                                      if (a.protocol() == QAbstractSocket::IPv4Protocol) {
                                          done(qToBigEndian(a.toIPv4Address()));
                                          return;
                                      }
                                  }
                                  done(std::nullopt);
                              });
    }

private:
    // Answers to a resolver that has gone are dropped with it.
    QObject m_context;
};

} // namespace

std::unique_ptr<HostResolver> createHostResolver()
{
    return std::make_unique<QtHostResolver>();
}

} // namespace orvex::platform
