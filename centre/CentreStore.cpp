#include "centre/CentreStore.h"

#include "platform/CodePage.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace orvex::centre {
namespace {

bool writeWhole(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size() && f.commit();
}

} // namespace

QString fromAnsi(QByteArrayView bytes)
{
    const std::u16string t = platform::decodeAnsi(std::string_view(bytes.data(), bytes.size()));
    return QString(reinterpret_cast<const QChar *>(t.data()), qsizetype(t.size()));
}

CentreStore::CentreStore(QString dataFolder) : m_folder(std::move(dataFolder))
{
    QDir().mkpath(m_folder);
}

QString CentreStore::folderName(QByteArrayView bytes)
{
    QString out;
    for (const char b : bytes) {
        const auto c = static_cast<unsigned char>(b);
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
            c == '-' || c == '_' || (c == '.' && !out.isEmpty()))
            out.append(QLatin1Char(b));
        else
            out.append(u'%' + QString::number(c, 16).toUpper().rightJustified(2, u'0'));
    }
    return out.isEmpty() ? u"%"_s : out;
}

bool CentreStore::isDomain(QByteArrayView bytes)
{
    if (bytes.isEmpty() || bytes.size() > 64)
        return false;
    return std::all_of(bytes.begin(), bytes.end(), [](char b) {
        const auto c = static_cast<unsigned char>(b);
        // Windows-1252 has letters from 0xC0 on, but for the two signs.
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_' || c == '.' || (c >= 0xC0 && c != 0xD7 && c != 0xF7);
    });
}

QString CentreStore::providerFolder(const QByteArray &domain) const
{
    return m_folder + u"/providers/"_s + folderName(domain);
}

QJsonObject CentreStore::readState(const QByteArray &domain) const
{
    QFile f(providerFolder(domain) + u"/state.json"_s);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(f.readAll()).object();
}

bool CentreStore::writeState(const QByteArray &domain, const QJsonObject &state)
{
    return writeWhole(providerFolder(domain) + u"/state.json"_s, QJsonDocument(state).toJson());
}

bool CentreStore::keepAlive(const QByteArray &domain, const QString &protocol,
                            const QString &address, const QByteArray &request,
                            const QDateTime &when)
{
    if (!isDomain(domain))
        return false;
    QJsonObject state = readState(domain);
    state[u"domain"_s] = fromAnsi(domain);
    QJsonObject keepAlives = state[u"keepalive"_s].toObject();
    keepAlives[protocol] = QJsonObject{{u"time"_s, when.toString(Qt::ISODate)},
                                       {u"address"_s, address},
                                       {u"request"_s, fromAnsi(request)}};
    state[u"keepalive"_s] = keepAlives;
    return writeState(domain, state);
}

bool CentreStore::delays(const QByteArray &domain, const QByteArray &text, const QDateTime &when)
{
    if (!isDomain(domain))
        return false;
    writeWhole(providerFolder(domain) + u"/delays.txt"_s, text);
    QJsonObject state = readState(domain);
    state[u"domain"_s] = fromAnsi(domain);
    state[u"delays"_s] =
        QJsonObject{{u"time"_s, when.toString(Qt::ISODate)}, {u"text"_s, fromAnsi(text)}};
    return writeState(domain, state);
}

bool CentreStore::storeConfiguration(const QByteArray &company, const QByteArray &computer,
                                     const QByteArray &archive)
{
    return writeWhole(m_folder + u"/configurations/"_s + folderName(company) + u'/' +
                          folderName(computer) + u"/Configuracion.zip"_s,
                      archive);
}

std::optional<QByteArray> CentreStore::configuration(const QByteArray &company,
                                                     const QByteArray &computer) const
{
    QFile f(m_folder + u"/configurations/"_s + folderName(company) + u'/' + folderName(computer) +
            u"/Configuracion.zip"_s);
    if (!f.open(QIODevice::ReadOnly))
        return std::nullopt;
    return f.readAll();
}

QStringList CentreStore::moduleFiles(const QByteArray &module) const
{
    const QDir root(m_folder + u"/updates/"_s + folderName(module));
    QStringList names;
    QDirIterator it(root.path(), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        names << root.relativeFilePath(it.next()).replace(u'/', u'\\');
    names.sort();
    return names;
}

std::optional<QString> CentreStore::moduleFile(const QByteArray &module,
                                               const QByteArray &name) const
{
    // Only a name the list gives out is served.
    const QString wanted = fromAnsi(name);
    if (!moduleFiles(module).contains(wanted))
        return std::nullopt;
    return m_folder + u"/updates/"_s + folderName(module) + u'/' +
           QString(wanted).replace(u'\\', u'/');
}

QJsonObject CentreStore::providers() const
{
    QJsonObject all;
    const QDir dir(m_folder + u"/providers"_s);
    for (const QString &sub : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile f(dir.filePath(sub + u"/state.json"_s));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        const QJsonObject state = QJsonDocument::fromJson(f.readAll()).object();
        all[state[u"domain"_s].toString()] = state;
    }
    return all;
}

} // namespace orvex::centre
