#include "HXPreferencesControls.h"

#include "HXUserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QSpinBox>

namespace {

HXUserDefaults &defaults()
{
    return HXUserDefaults::standardUserDefaults();
}

} // namespace

namespace HXPreferencesControls {

QCheckBox *checkBox(const QString &text, const QString &key)
{
    auto *box = new QCheckBox(text);
    box->setChecked(defaults().boolForKey(key));
    QObject::connect(box, &QCheckBox::toggled, box, [key](bool on) { defaults().setBool(on, key); });
    return box;
}

QSpinBox *spinBox(const QString &key, int minimum, int maximum)
{
    auto *box = new QSpinBox;
    box->setRange(minimum, maximum);
    box->setValue(int(qBound(qint64(minimum), defaults().integerForKey(key), qint64(maximum))));
    QObject::connect(box, &QSpinBox::valueChanged, box, [key](int value) { defaults().setInteger(value, key); });
    return box;
}

QLineEdit *lineEdit(const QString &key)
{
    auto *field = new QLineEdit(defaults().stringForKey(key));
    QObject::connect(field, &QLineEdit::textEdited, field,
                     [key](const QString &text) { defaults().setObject(text, key); });
    return field;
}

QComboBox *comboBox(const QString &key, const QList<std::pair<QString, QString>> &entries)
{
    auto *menu = new QComboBox;
    for (const auto &[value, label] : entries)
        menu->addItem(label, value);
    menu->setCurrentIndex(menu->findData(defaults().stringForKey(key)));
    QObject::connect(menu, &QComboBox::activated, menu,
                     [menu, key](int index) { defaults().setObject(menu->itemData(index).toString(), key); });
    return menu;
}

} // namespace HXPreferencesControls
