#include "HXResponseListModel.h"

#include "HXResponse.h"
#include "HXResponseManager.h"

#include <QLocale>

HXResponseListModel::HXResponseListModel(QObject *parent) : QAbstractTableModel(parent) {}

void HXResponseListModel::setResponses(const QList<std::shared_ptr<HXResponse>> &responses)
{
    beginResetModel();
    m_responses = responses;
    endResetModel();
}

void HXResponseListModel::loadResponsesForRequestUUID(const QString &requestUUID)
{
    setResponses(requestUUID.isEmpty() ? QList<std::shared_ptr<HXResponse>>()
                                       : HXResponseManager::sharedManager()->responsesForRequestUUID(requestUUID));
}

std::shared_ptr<HXResponse> HXResponseListModel::responseAt(int row) const
{
    return row >= 0 && row < m_responses.size() ? m_responses.at(row) : nullptr;
}

int HXResponseListModel::rowOfResponse(const std::shared_ptr<HXResponse> &response) const
{
    return int(m_responses.indexOf(response));
}

int HXResponseListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_responses.size());
}

int HXResponseListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString HXResponseListModel::sizeString(qint64 bytes)
{
    if (bytes < 1000)
        return tr("%1 B").arg(bytes);
    if (bytes < 1000 * 1000)
        return tr("%1 KB").arg(double(bytes) / 1000, 0, 'f', 1);
    if (bytes < qint64(1000) * 1000 * 1000)
        return tr("%1 MB").arg(double(bytes) / 1e6, 0, 'f', 1);
    return tr("%1 GB").arg(double(bytes) / 1e9, 0, 'f', 2);
}

QVariant HXResponseListModel::data(const QModelIndex &index, int role) const
{
    const std::shared_ptr<HXResponse> response = responseAt(index.row());
    if (!index.isValid() || response == nullptr)
        return {};
    if (role == Qt::UserRole)
        return QVariant::fromValue(response);
    if (role == Qt::TextAlignmentRole && index.column() != DateColumn)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case StatusColumn:
        return QStringLiteral("%1 %2").arg(response->statusCode()).arg(response->statusString());
    case DateColumn:
        return QLocale().toString(response->date().toLocalTime(), QLocale::ShortFormat);
    case TimeColumn:
        return HXResponse::downloadTimeString(response->responseTime() + response->downloadTime());
    case SizeColumn:
        return sizeString(response->bodyData().size());
    default:
        return {};
    }
}

QVariant HXResponseListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case StatusColumn:
        return tr("Status");
    case DateColumn:
        return tr("Date");
    case TimeColumn:
        return tr("Time");
    case SizeColumn:
        return tr("Size");
    default:
        return {};
    }
}
