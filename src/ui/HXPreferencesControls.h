#pragma once

#include <QList>
#include <QString>

#include <utility>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QSpinBox;

// Controls of the preferences window, each tied to one user default: it
// shows the stored value when made and stores every change at once.
namespace HXPreferencesControls {

QCheckBox *checkBox(const QString &text, const QString &key);
QSpinBox *spinBox(const QString &key, int minimum, int maximum);
QLineEdit *lineEdit(const QString &key);
// Entries are (stored value, label). A stored value that is not listed
// leaves the menu without a choice.
QComboBox *comboBox(const QString &key, const QList<std::pair<QString, QString>> &entries);

} // namespace HXPreferencesControls
