#pragma once
// What the chat windows know of the centre's servers: the main form keeps
// the table and answers by a server's index.
#include <QString>

namespace orvex {

namespace platform {
class IrcClient;
}

class wnChat;

class ChatDirectory
{
public:
    virtual ~ChatDirectory() = default;
    // The server's label; empty for an index the table does not hold.
    virtual QString serverName(int index) const = 0;
    // The server's chat connection; null when it has none.
    virtual platform::IrcClient *chatClient(int index) const = 0;
    // The chat window for `key` (server index, "\", nickname): the last one
    // with that tag, or a new one with `caption` when there is none.
    virtual wnChat &chatWindow(const QString &key, const QString &caption) = 0;
};

} // namespace orvex
