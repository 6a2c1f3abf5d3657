#include "HXTokenEditor.h"

#include "HXDynamicString.h"
#include "HXDynamicStringEdit.h"
#include "HXDynamicValueCatalogue.h"
#include "HXDynamicValueEngine.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QLabel>
#include <QRegularExpression>
#include <QSpinBox>
#include <QVBoxLayout>

#include <limits>

namespace {
// "hashType" -> "Hash Type", "useZForUTC" -> "Use Z For UTC".
QString labelForKey(const QString &key)
{
    QString label = key;
    static const QRegularExpression wordStart(QStringLiteral("([a-z0-9])([A-Z])"));
    static const QRegularExpression acronymEnd(QStringLiteral("([A-Z])([A-Z][a-z])"));
    label.replace(wordStart, QStringLiteral("\\1 \\2"));
    label.replace(acronymEnd, QStringLiteral("\\1 \\2"));
    if (!label.isEmpty())
        label[0] = label.at(0).toUpper();
    return label + u':';
}

// The choice list's property name: the key with its first letter upper-cased.
QString choiceName(const QString &key)
{
    return key.isEmpty() ? key : key.at(0).toUpper() + key.mid(1);
}
} // namespace

HXTokenEditor::HXTokenEditor(const HXDynamicValuePtr &value, QWidget *parent)
    : QFrame(parent, Qt::Popup), m_value(value)
{
    setObjectName(QStringLiteral("tokenEditor"));
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameShape(QFrame::StyledPanel);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(10);
    auto *title = new QLabel(value ? HXDynamicValueCatalogue::localizedTitle(value->className()) : QString());
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    layout->addWidget(title);

    m_form = new QFormLayout;
    m_form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    m_form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    int fields = 0;
    if (value != nullptr) {
        for (const HXDynamicProperty &property : value->dynamicKeyPaths()) {
            if (QWidget *field = _fieldFor(property)) {
                field->setObjectName(property.key);
                m_form->addRow(labelForKey(property.key), field);
                ++fields;
            }
        }
    }
    if (fields == 0) {
        auto *none = new QLabel(tr("This value has no settings."));
        none->setEnabled(false);
        m_form->addRow(none);
    }
    layout->addLayout(m_form);

    auto *line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    layout->addWidget(line);
    m_result = new QLabel;
    m_result->setObjectName(QStringLiteral("tokenResult"));
    m_result->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_result->setWordWrap(true);
    m_result->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    auto *resultRow = new QFormLayout;
    resultRow->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    resultRow->addRow(tr("Result:"), m_result);
    layout->addLayout(resultRow);
    setMinimumWidth(360);
    _updateResult();
}

QWidget *HXTokenEditor::fieldForKey(const QString &key) const
{
    return findChild<QWidget *>(key);
}

QWidget *HXTokenEditor::_fieldFor(const HXDynamicProperty &property)
{
    const QString key = property.key;
    const QVariant current = m_value->valueForKey(key);
    if (const std::optional<QVariantList> choices = m_value->contentObjectsFor(choiceName(key))) {
        auto *menu = new QComboBox;
        for (const QVariant &choice : *choices) {
            const std::optional<QString> label = m_value->localizedStringFor(choiceName(key), choice);
            menu->addItem(label.value_or(choice.toString()), choice);
            if (choice == current)
                menu->setCurrentIndex(menu->count() - 1);
        }
        connect(menu, &QComboBox::activated, this, [this, menu, key](int index) { _set(key, menu->itemData(index)); });
        return menu;
    }
    switch (property.type) {
    case HXDynamicPropertyType::String: {
        auto *field = new HXDynamicStringEdit(true);
        field->setStoredString(current.toString());
        connect(field, &QTextEdit::textChanged, this, [this, field, key] { _set(key, field->storedString()); });
        return field;
    }
    case HXDynamicPropertyType::Boolean: {
        auto *box = new QCheckBox;
        box->setChecked(current.toBool());
        connect(box, &QCheckBox::toggled, this, [this, key](bool on) { _set(key, on); });
        return box;
    }
    case HXDynamicPropertyType::Integer: {
        auto *number = new QSpinBox;
        number->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        number->setValue(int(current.toLongLong()));
        connect(number, &QSpinBox::valueChanged, this, [this, key](int v) { _set(key, qint64(v)); });
        return number;
    }
    case HXDynamicPropertyType::Double: {
        auto *number = new QDoubleSpinBox;
        number->setRange(-1e12, 1e12);
        number->setDecimals(3);
        number->setValue(current.toDouble());
        connect(number, &QDoubleSpinBox::valueChanged, this, [this, key](double v) { _set(key, v); });
        return number;
    }
    default:
        // Tables, dates, data and references have editors of their own.
        return nullptr;
    }
}

void HXTokenEditor::_set(const QString &key, const QVariant &value)
{
    if (m_value == nullptr || m_value->valueForKey(key) == value || !m_value->setValue(key, value))
        return;
    _updateResult();
    Q_EMIT valueChanged(m_value);
}

void HXTokenEditor::_updateResult()
{
    if (m_value == nullptr)
        return;
    const QString result =
        HXDynamicValueEngine::evaluateAttributedStringAsString(HXDynamicString::withDynamicValue(m_value));
    m_result->setText(result.isEmpty() ? tr("(empty)") : result.left(400));
    m_result->setEnabled(!result.isEmpty());
}
