#pragma once
// The board's zones as the list shows them. A delays file's rows stay in the
// file's own bytes, each decoded only when the list asks for it, so that a
// board of millions of zones holds little more than its file.
#include <QAbstractListModel>
#include <QByteArray>
#include <QStringList>

#include <vector>

namespace orvex::delays {

class DelayRows final : public QAbstractListModel
{
    Q_OBJECT
public:
    using QAbstractListModel::QAbstractListModel;

    // The rows of a delays file (its ANSI bytes): one per CR LF line whose
    // first TAB field (the zone) is not empty, as zone, TAB, the second
    // field, TAB.
    void loadFile(QByteArray bytes);
    void setRows(const QStringList &rows);
    QStringList rows() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    bool insertRows(int row, int count, const QModelIndex &parent = {}) override;
    bool removeRows(int row, int count, const QModelIndex &parent = {}) override;

private:
    // Where a row's bytes are in m_bytes.
    struct Span
    {
        quint32 at = 0;
        quint32 size = 0;
    };
    Span append(QByteArrayView row);
    QString text(const Span &span) const;
    // Rows written again leave their old bytes behind: once those are most
    // of the store, it is rebuilt from the rows alone.
    void compactWhenWasteful();

    QByteArray m_bytes;
    std::vector<Span> m_spans;
    qsizetype m_used = 0;
};

} // namespace orvex::delays
