#pragma once
// What the centre keeps, in a data folder so that a restart loses nothing:
//   providers/<domain>/state.json   last keep-alive over each protocol, delays
//   providers/<domain>/delays.txt   the last delays text, its bytes as sent
//   configurations/<company>/<computer>/Configuracion.zip
//   updates/<module>/...            the files of each module, put there by
//                                   whoever runs the centre
// Names from the wire become folder names with every byte but letters,
// digits, '-', '_' and '.' written as %XX (so no name can climb out).
#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace orvex::centre {

class CentreStore
{
public:
    explicit CentreStore(QString dataFolder);

    // A provider is known by the domain its keep-alives carry; these two
    // refuse (false) anything that is not one, so no stray request leaves a
    // provider behind. `protocol` is "http" or "udp"; `request` what arrived
    // (for support).
    bool keepAlive(const QByteArray &domain, const QString &protocol, const QString &address,
                   const QByteArray &request, const QDateTime &when);
    bool delays(const QByteArray &domain, const QByteArray &text, const QDateTime &when);
    bool storeConfiguration(const QByteArray &company, const QByteArray &computer,
                            const QByteArray &archive);
    std::optional<QByteArray> configuration(const QByteArray &company,
                                            const QByteArray &computer) const;

    // Relative names ("\" between folders) of a module's files, sorted.
    QStringList moduleFiles(const QByteArray &module) const;
    // The file of a module, or nothing for a name that is not one of them.
    std::optional<QString> moduleFile(const QByteArray &module, const QByteArray &name) const;

    // Every provider heard from: {domain: state}.
    QJsonObject providers() const;

    static QString folderName(QByteArrayView bytes);
    // A plain domain name of at most 64 bytes: letters (the code page's
    // too), digits, '-', '_' and '.'.
    static bool isDomain(QByteArrayView bytes);

private:
    QString providerFolder(const QByteArray &domain) const;
    QJsonObject readState(const QByteArray &domain) const;
    bool writeState(const QByteArray &domain, const QJsonObject &state);

    QString m_folder;
};

// Text of the wire (the agent's ANSI code page, Windows-1252) for JSON and HTML.
QString fromAnsi(QByteArrayView bytes);

} // namespace orvex::centre
