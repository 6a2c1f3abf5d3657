#pragma once

#include "HXDynamicValue.h"

#include <QFrame>

class QFormLayout;
class QLabel;

// The popup that edits one token: a form built from the kind's stored
// properties (a text field per dynamic string, a check box per boolean, a
// menu per choice list, a number field per number) and the value's current
// result, updated live. Every change is reported with the edited value.
class HXTokenEditor : public QFrame
{
    Q_OBJECT
public:
    explicit HXTokenEditor(const HXDynamicValuePtr &value, QWidget *parent = nullptr);

    HXDynamicValuePtr value() const { return m_value; }
    QLabel *resultLabel() const { return m_result; }
    // The field editing `key`, or null when the form has none for it.
    QWidget *fieldForKey(const QString &key) const;

Q_SIGNALS:
    void valueChanged(const HXDynamicValuePtr &value);

private:
    QWidget *_fieldFor(const HXDynamicProperty &property);
    void _set(const QString &key, const QVariant &value);
    void _updateResult();

    HXDynamicValuePtr m_value;
    QFormLayout *m_form = nullptr;
    QLabel *m_result = nullptr;
};
