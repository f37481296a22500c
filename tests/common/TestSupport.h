#pragma once
// Small helpers shared by the tests.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

namespace orvex::test {

inline bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

inline QByteArray readBytes(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Makes `folder` the working folder for as long as it lives, then goes back
// to the one before, so that no later test runs in a folder that is gone.
class WorkingFolder
{
public:
    explicit WorkingFolder(const QString &folder)
        : m_previous(QDir::currentPath()), m_set(QDir::setCurrent(folder))
    {}
    ~WorkingFolder() { QDir::setCurrent(m_previous); }
    WorkingFolder(const WorkingFolder &) = delete;
    WorkingFolder &operator=(const WorkingFolder &) = delete;

    bool isSet() const { return m_set; }

private:
    QString m_previous;
    bool m_set;
};

} // namespace orvex::test
