#pragma once
// Processes, windows and sounds as the test says, recording what was asked.
#include "platform/ProcessWindows.h"
#include "platform/SoundPlayer.h"

#include <QString>
#include <QStringList>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace orvex::test {

// No process really starts: each start gets a token that runs until the
// test ends it (endAll(), or by taking it out of `running`). Windows are
// known by title or class.
class FakeProcessWindows final : public platform::ProcessWindows
{
public:
    bool hasWindowList() override { return true; }
    platform::WindowHandle findWindowByTitle(const std::string &t) override
    {
        return titles.count(t) ? titles[t] : 0;
    }
    platform::WindowHandle findWindowByClass(const std::string &c) override
    {
        return classes.count(c) ? classes[c] : 0;
    }
    bool postClose(platform::WindowHandle window) override
    {
        closed.push_back(window);
        return true;
    }
    platform::ProcessToken startProcess(const std::string &line, const std::string &,
                                        platform::StartMode mode) override
    {
        started.push_back(line);
        modes.push_back(mode);
        if (startFails)
            return 0;
        running.insert(++m_last);
        return m_last;
    }
    bool isRunning(platform::ProcessToken p) override { return running.count(p) > 0; }
    // Forgotten, not stopped: a released token that runs stays in `running`.
    void release(platform::ProcessToken p) override { released.push_back(p); }

    void endAll() { running.clear(); }

    bool startFails = false;
    std::map<std::string, platform::WindowHandle> titles, classes;
    std::vector<platform::WindowHandle> closed;
    std::vector<std::string> started;
    std::vector<platform::StartMode> modes;
    std::set<platform::ProcessToken> running;
    std::vector<platform::ProcessToken> released;

private:
    platform::ProcessToken m_last = 0;
};

// Records every sound started as "path*count"; each ends at once.
class FakeSound final : public platform::SoundPlayer
{
public:
    bool play(const QString &path, int count) override
    {
        played << path + u'*' + QString::number(count);
        return true;
    }
    bool isPlaying() const override { return false; }
    void stop() override {}

    QStringList played;
};

} // namespace orvex::test
