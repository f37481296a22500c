#pragma once
// Moved to common/LoopbackHttpServer.h; these are the names the tests not yet
// moved still use. Delete this file once nothing includes it.
#include "common/LoopbackHttpServer.h"

namespace orvex::test {

using ServerStep = Answer::Step;
using ServerScript = QList<Answer::Step>;
inline ServerStep send(const QByteArray &b)
{
    return {ServerStep::Send, b, 0};
}

} // namespace orvex::test
