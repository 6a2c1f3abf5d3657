#pragma once

#include <QAbstractTableModel>

#include <memory>

class HXResponse;

// The recorded responses of one request, newest first: status, date,
// response time and size.
class HXResponseListModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { StatusColumn = 0, DateColumn, TimeColumn, SizeColumn, ColumnCount };

    explicit HXResponseListModel(QObject *parent = nullptr);

    void setResponses(const QList<std::shared_ptr<HXResponse>> &responses);
    // Reads the responses of the request with this uuid from the response store.
    void loadResponsesForRequestUUID(const QString &requestUUID);
    std::shared_ptr<HXResponse> responseAt(int row) const;
    int rowOfResponse(const std::shared_ptr<HXResponse> &response) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // "512 B", "1.5 KB", "12.0 MB".
    static QString sizeString(qint64 bytes);

private:
    QList<std::shared_ptr<HXResponse>> m_responses;
};
