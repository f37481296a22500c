#pragma once
// The fields of a form as they travel in a request, "name=value&...": after
// the "?" of a GET's path, or as the body of a POST
// (application/x-www-form-urlencoded). Values are escaped by URL_Encode's
// rule. A file's bytes are escaped as they are read, a piece at a time, so a
// large archive is never held in memory, escaped or not.
#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <variant>
#include <vector>

namespace orvex {

class FormQuery
{
public:
    // Text that is already in its final form (names, "=", "&", escaped values).
    FormQuery &append(QByteArrayView escaped);
    // The bytes of the file at `path`, escaped on the way out. A file that
    // cannot be read adds nothing.
    FormQuery &appendEncodedFile(const QString &path);

    // The length of the whole query once escaped (reads the files through).
    qint64 size() const;

    // Hands the query to `take` in consecutive pieces of at most `piece`
    // bytes, fixed text and escaped file alike. Stops when `take` returns
    // false; returns false then.
    bool forEachPiece(qsizetype piece, const std::function<bool(QByteArrayView)> &take) const;

private:
    struct File
    {
        QString path;
    };
    std::vector<std::variant<QByteArray, File>> m_parts;
};

} // namespace orvex
