#include "HXRequest1To2EntityMigrationPolicy.h"

#include "HXDynamicString.h"
#include "HXDynamicValueEngine.h"
#include "HXEntityMapping.h"
#include "HXManagedObject.h"
#include "HXRequest.h"

#include <QStringDecoder>

namespace {

// The body a first-model request had, as a dynamic string of plain text.
QVariant bodyFromData(const QVariant &data)
{
    const QByteArray bytes = data.toByteArray();
    if (bytes.isEmpty())
        return QVariant();
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(bytes);
    if (decoder.hasError())
        return QVariant();
    return HXDynamicValueEngine::archiveAttributedString(HXDynamicString(text));
}

} // namespace

HXResult<void> HXRequest1To2EntityMigrationPolicy::createDestinationInstancesForSourceInstance(
    HXManagedObject *source, HXEntityMapping &mapping, HXMigrationManager &manager)
{
    if (mapping.name == u"HXRequestToHXRequest") {
        for (HXEntityMapping::AttributeMapping &attribute : mapping.attributeMappings) {
            if (attribute.name == u"body")
                attribute.valueExpression =
                    HXEntityMapping::constantExpression(bodyFromData(source->valueForKey(QStringLiteral("bodyData"))));
            else if (attribute.name == u"uuid")
                attribute.valueExpression = HXEntityMapping::constantExpression(HXRequest::generateUUID());
        }
    }
    return HXEntityMigrationPolicy::createDestinationInstancesForSourceInstance(source, mapping, manager);
}
