#include "platform/FileTransfer.h"

#include "platform/CodePage.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QTcpSocket>
#include <QTemporaryFile>

#include <functional>
#include <list>
#include <memory>
#include <optional>

Q_LOGGING_CATEGORY(lcTransfer, "orvex.transfer")

namespace orvex::platform {
namespace {

// A head longer than this is not a server talking HTTP.
constexpr qsizetype kMaxHead = 64 * 1024;
constexpr qint64 kReadPiece = 256 * 1024;

// Where a URL leads: "http://" host [":" port] and the rest as it stands.
struct Address
{
    QString host;
    quint16 port = 80;
    QByteArray target; // the request's path and query, byte for byte
};

// The URL's path and query go out exactly as the caller escaped them: "%2E"
// stays "%2E" (a URL class would turn it into "."). Only what may not stand
// in a request line is escaped: blanks, controls and bytes beyond ASCII, the
// latter as their ANSI code.
QByteArray requestTarget(QStringView rest)
{
    const std::string ansi = encodeAnsi(std::u16string_view(
        reinterpret_cast<const char16_t *>(rest.utf16()), static_cast<std::size_t>(rest.size())));
    QByteArray target;
    for (const char c : ansi) {
        const auto b = static_cast<unsigned char>(c);
        if (b > 0x20 && b < 0x7F)
            target.append(c);
        else
            target.append('%').append(QByteArray::number(b, 16).toUpper().rightJustified(2, '0'));
    }
    if (!target.startsWith('/'))
        target.prepend('/');
    return target;
}

std::optional<Address> parseAddress(const QString &url)
{
    QStringView rest = url;
    if (rest.startsWith(u"http://", Qt::CaseInsensitive))
        rest = rest.sliced(7);
    const qsizetype end = rest.indexOf(u'/');
    const QStringView authority = rest.left(end); // all of it when there is no path
    Address a;
    // "[::1]:8080" holds colons of its own.
    const qsizetype colon = authority.lastIndexOf(u':');
    if (colon >= 0 && colon > authority.lastIndexOf(u']')) {
        bool ok = false;
        a.port = authority.sliced(colon + 1).toUShort(&ok);
        if (!ok || a.port == 0)
            return std::nullopt;
        a.host = authority.first(colon).toString();
    } else {
        a.host = authority.toString();
    }
    if (a.host.startsWith(u'[') && a.host.endsWith(u']'))
        a.host = a.host.mid(1, a.host.size() - 2);
    if (a.host.isEmpty())
        return std::nullopt;
    a.target = requestTarget(end < 0 ? QStringView() : rest.sliced(end));
    return a;
}

// What the reply's head says: its status and the body's announced length.
struct Head
{
    int status = 0;
    qint64 length = -1; // -1: not announced
};

Head parseHead(QByteArrayView head)
{
    Head h;
    const QList<QByteArray> lines = head.toByteArray().split('\n');
    const QList<QByteArray> status = lines.value(0).simplified().split(' ');
    if (status.size() >= 2 && status[0].startsWith("HTTP/"))
        h.status = status[1].toInt();
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 &&
            line.first(colon).trimmed().compare("content-length", Qt::CaseInsensitive) == 0) {
            bool ok = false;
            const qint64 n = line.sliced(colon + 1).trimmed().toLongLong(&ok);
            if (ok && n >= 0)
                h.length = n;
        }
    }
    return h;
}

// One transfer: an HTTP/1.0 GET whose body goes to a ".orvex-*.part" file
// as it arrives. The file is removed with the transfer unless it was handed
// over on completion.
class Transfer
{
public:
    using Progress = std::function<void(qint64 read, qint64 max)>;
    using Complete = std::function<void(const QString &file, bool whole)>;

    Transfer(const Address &address, const QString &folder, Progress progress, Complete complete)
        : m_progress(std::move(progress)), m_complete(std::move(complete)),
          m_file(std::make_unique<QTemporaryFile>(folder + QStringLiteral("/.orvex-XXXXXX.part")))
    {
        QObject::connect(&m_socket, &QTcpSocket::connected, &m_context, [this, address] {
            m_socket.write("GET " + address.target + " HTTP/1.0\r\nHost: " + address.host.toUtf8() +
                           "\r\nAccept: */*\r\nConnection: close\r\n\r\n");
        });
        QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_context, [this] { take(); });
        QObject::connect(&m_socket, &QTcpSocket::disconnected, &m_context, [this] { end(); });
        QObject::connect(&m_socket, &QTcpSocket::errorOccurred, &m_context,
                         [this](QAbstractSocket::SocketError e) {
                             if (e != QAbstractSocket::RemoteHostClosedError)
                                 fail(m_socket.errorString());
                         });
        m_socket.connectToHost(address.host, address.port);
    }

    // False when no file could be made to receive the body.
    bool open() { return m_file->open(); }
    QString errorString() const { return m_file->errorString(); }
    bool done() const { return m_done; }

private:
    void take()
    {
        while (!m_done && m_socket.bytesAvailable() > 0) {
            if (!m_head) {
                m_headBytes += m_socket.read(kMaxHead - m_headBytes.size());
                const qsizetype end = m_headBytes.indexOf("\r\n\r\n");
                if (end < 0) {
                    if (m_headBytes.size() >= kMaxHead)
                        return fail(QStringLiteral("no end of the reply's head"));
                    continue;
                }
                m_head = parseHead(QByteArrayView(m_headBytes).first(end));
                if (!write(QByteArrayView(m_headBytes).sliced(end + 4)))
                    return;
                continue;
            }
            if (!write(m_socket.read(kReadPiece)))
                return;
        }
        if (m_head && m_head->length >= 0 && m_received >= m_head->length)
            end();
    }

    bool write(QByteArrayView bytes)
    {
        if (bytes.isEmpty())
            return true;
        if (m_file->write(bytes.data(), bytes.size()) != bytes.size()) {
            fail(QStringLiteral("cannot write ") + m_file->errorString());
            return false;
        }
        m_received += bytes.size();
        m_progress(m_received, m_head && m_head->length > 0 ? m_head->length : 0);
        return true;
    }

    // The server closed, or the announced length has arrived.
    void end()
    {
        if (m_done)
            return;
        const bool ok = m_head && m_head->status >= 200 && m_head->status < 300;
        const bool whole = ok && (m_head->length < 0 || m_head->length == m_received);
        if (!whole)
            qCInfo(lcTransfer) << "reply cut short after" << m_received << "bytes";
        finish(whole);
    }

    void fail(const QString &why)
    {
        if (m_done)
            return;
        qCInfo(lcTransfer).noquote() << "transfer failed:" << why;
        finish(false);
    }

    void finish(bool whole)
    {
        m_done = true;
        m_socket.abort();
        // The caller takes the file over, closed: a program still open for
        // writing could not be started.
        m_file->setAutoRemove(false);
        const QString file = m_file->fileName();
        m_file.reset();
        m_complete(file, whole);
    }

    QTcpSocket m_socket;
    Progress m_progress;
    Complete m_complete;
    std::unique_ptr<QTemporaryFile> m_file;
    QByteArray m_headBytes;
    std::optional<Head> m_head;
    qint64 m_received = 0;
    bool m_done = false;
    // Receives the socket's signals; gone first, so that a transfer being
    // destroyed hears nothing more from its socket.
    QObject m_context;
};

class SocketFileTransfer final : public FileTransfer
{
public:
    void ReadFile(const QString &name, const QString &url, int, const QString &localTarget) override
    {
        // The part file sits beside the target, so that putting it in place
        // later is a rename on the same disk.
        const QString folder = QFileInfo(localTarget).absolutePath();
        const std::optional<Address> address = parseAddress(url);
        if (!address) {
            qCWarning(lcTransfer) << "cannot read" << url;
            return failAtOnce(name, folder);
        }
        auto &t = m_transfers.emplace_back(
            *address, folder,
            [this, name](qint64 read, qint64 max) { emit FileReadProgress(name, read, max); },
            [this, name](const QString &file, bool whole) {
                emit FileReadComplete(name, file, whole);
                sweepDone();
            });
        if (!t.open()) {
            qCWarning(lcTransfer) << "cannot receive" << url << t.errorString();
            m_transfers.pop_back();
            failAtOnce(name, folder);
        }
    }

private:
    // FileReadComplete always follows, with a file of nothing.
    void failAtOnce(const QString &name, const QString &folder)
    {
        QTemporaryFile empty(folder + QStringLiteral("/.orvex-XXXXXX.part"));
        empty.setAutoRemove(false);
        empty.open();
        QMetaObject::invokeMethod(
            this,
            [this, name, file = empty.fileName()] { emit FileReadComplete(name, file, false); },
            Qt::QueuedConnection);
    }

    // Ended transfers go once their completion has run (not from inside it).
    void sweepDone()
    {
        QMetaObject::invokeMethod(
            this, [this] { m_transfers.remove_if([](const Transfer &t) { return t.done(); }); },
            Qt::QueuedConnection);
    }

    std::list<Transfer> m_transfers;
};

} // namespace

std::unique_ptr<FileTransfer> createFileTransfer()
{
    return std::make_unique<SocketFileTransfer>();
}

} // namespace orvex::platform
