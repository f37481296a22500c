#include "delays/DelayRows.h"

#include "support/AnsiCodec.h"

#include <limits>

namespace orvex::delays {
namespace {

QByteArrayView field(QByteArrayView line, qsizetype &from)
{
    const qsizetype tab = line.indexOf('\t', from);
    const qsizetype end = tab < 0 ? line.size() : tab;
    const QByteArrayView f = from <= line.size() ? line.sliced(from, end - from) : QByteArrayView();
    from = tab < 0 ? line.size() + 1 : tab + 1;
    return f;
}

} // namespace

void DelayRows::loadFile(QByteArray bytes)
{
    beginResetModel();
    // Rows are kept as 32-bit places in the file's bytes; a file beyond that
    // is read as far as that reaches.
    if (bytes.size() > std::numeric_limits<qint32>::max() / 2)
        bytes.truncate(std::numeric_limits<qint32>::max() / 2);
    m_bytes = std::move(bytes);
    m_spans.clear();
    m_used = 0;
    const qsizetype fileSize = m_bytes.size();
    // Rows that are not written as such in the file, to go after it.
    QByteArray extra;
    qsizetype start = 0;
    while (start <= fileSize) {
        qsizetype end = QByteArrayView(m_bytes).indexOf("\r\n", start);
        if (end < 0)
            end = fileSize;
        const QByteArrayView line = QByteArrayView(m_bytes).sliced(start, end - start);
        qsizetype at = 0;
        const QByteArrayView name = field(line, at);
        const QByteArrayView delay = field(line, at);
        if (!name.isEmpty()) {
            // Most lines already read "zone<TAB>delay<TAB>": their row is the
            // line itself.
            Span span{quint32(start), quint32(line.size())};
            if (line.size() != name.size() + delay.size() + 2 || !line.endsWith('\t')) {
                span = {quint32(fileSize + extra.size()), quint32(name.size() + delay.size() + 2)};
                extra.append(name).append('\t').append(delay).append('\t');
            }
            m_spans.push_back(span);
            m_used += span.size;
        }
        start = end + 2;
    }
    m_bytes.append(extra);
    endResetModel();
}

void DelayRows::setRows(const QStringList &rows)
{
    beginResetModel();
    m_bytes.clear();
    m_spans.clear();
    m_used = 0;
    for (const QString &row : rows) {
        m_spans.push_back(append(ansi::encode(row)));
        m_used += m_spans.back().size;
    }
    endResetModel();
}

QStringList DelayRows::rows() const
{
    QStringList out;
    out.reserve(qsizetype(m_spans.size()));
    for (const Span &span : m_spans)
        out << text(span);
    return out;
}

int DelayRows::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_spans.size());
}

QVariant DelayRows::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || size_t(index.row()) >= m_spans.size() ||
        (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    return text(m_spans[size_t(index.row())]);
}

bool DelayRows::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || size_t(index.row()) >= m_spans.size() ||
        (role != Qt::DisplayRole && role != Qt::EditRole))
        return false;
    Span &span = m_spans[size_t(index.row())];
    m_used -= span.size;
    span = append(ansi::encode(value.toString()));
    m_used += span.size;
    emit dataChanged(index, index, {Qt::DisplayRole, Qt::EditRole});
    compactWhenWasteful();
    return true;
}

bool DelayRows::insertRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || row < 0 || count < 1 || size_t(row) > m_spans.size())
        return false;
    beginInsertRows(parent, row, row + count - 1);
    m_spans.insert(m_spans.begin() + row, size_t(count), Span{});
    endInsertRows();
    return true;
}

bool DelayRows::removeRows(int row, int count, const QModelIndex &parent)
{
    if (parent.isValid() || row < 0 || count < 1 || size_t(row) + size_t(count) > m_spans.size())
        return false;
    beginRemoveRows(parent, row, row + count - 1);
    for (int i = row; i < row + count; ++i)
        m_used -= m_spans[size_t(i)].size;
    m_spans.erase(m_spans.begin() + row, m_spans.begin() + row + count);
    endRemoveRows();
    compactWhenWasteful();
    return true;
}

DelayRows::Span DelayRows::append(QByteArrayView row)
{
    const Span span{quint32(m_bytes.size()), quint32(row.size())};
    m_bytes.append(row);
    return span;
}

QString DelayRows::text(const Span &span) const
{
    return ansi::decode(QByteArrayView(m_bytes).sliced(span.at, span.size));
}

void DelayRows::compactWhenWasteful()
{
    if (m_bytes.size() < 4096 || m_used * 2 > m_bytes.size())
        return;
    QByteArray kept;
    kept.reserve(m_used);
    for (Span &span : m_spans) {
        const QByteArrayView row = QByteArrayView(m_bytes).sliced(span.at, span.size);
        span.at = quint32(kept.size());
        kept.append(row);
    }
    m_bytes = std::move(kept);
}

} // namespace orvex::delays
