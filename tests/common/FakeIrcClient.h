#pragma once
// A chat connection that goes nowhere: the test says whether it is connected,
// what arrived and who is on the channel, and reads what was sent.
#include "platform/IrcClient.h"

#include <QStringList>

#include <utility>

namespace orvex::test {

class FakeIrcClient final : public platform::IrcClient
{
public:
    void Connect() override { ++connects; }
    bool isConnected() const override { return connected; }
    bool SendPrivMsg(const QString &nick, const QString &text) override
    {
        sent << nick + u'|' + text;
        return connected;
    }
    QString CurrentNick() const override { return nick.isEmpty() ? NickName() : nick; }
    QStringList takeReceived() override { return std::exchange(items, {}); }
    QStringList Nicknames() const override { return names; }

    bool connected = false;
    int connects = 0;
    QString nick;
    QStringList items, names, sent;
};

} // namespace orvex::test
