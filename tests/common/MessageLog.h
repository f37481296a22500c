#pragma once
// Keeps the log messages of one category while it lives, and still passes
// every message on to the handler that was there before.
#include <QByteArray>
#include <QStringList>
#include <QtGlobal>

#include <algorithm>

namespace orvex::test {

class MessageLog
{
public:
    explicit MessageLog(QByteArray category) : m_category(std::move(category))
    {
        s_current = this;
        m_previous = qInstallMessageHandler(&MessageLog::handle);
    }
    ~MessageLog()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    MessageLog(const MessageLog &) = delete;
    MessageLog &operator=(const MessageLog &) = delete;

    bool contains(const QString &part) const
    {
        return std::any_of(m_messages.begin(), m_messages.end(),
                           [&](const QString &m) { return m.contains(part); });
    }
    const QStringList &messages() const { return m_messages; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        MessageLog *log = s_current;
        if (!log)
            return;
        if (context.category && log->m_category == context.category)
            log->m_messages << text;
        if (log->m_previous)
            log->m_previous(type, context, text);
    }

    static inline MessageLog *s_current = nullptr;
    QByteArray m_category;
    QtMessageHandler m_previous = nullptr;
    QStringList m_messages;
};

} // namespace orvex::test
