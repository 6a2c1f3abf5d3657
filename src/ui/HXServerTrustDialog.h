#pragma once

#include "HXPresenter.h"

#include <QDialog>

class QCheckBox;
class QLabel;
class QTreeWidget;

// The question asked when a server's certificate cannot be verified: the
// handler's texts, the certificate chain (subject, issuer, validity,
// SHA-256 fingerprint and what is wrong with each certificate), the
// handler's buttons, and "Always trust this certificate for HOST". Window
// modal on the document's window.
class HXServerTrustDialog : public QDialog
{
    Q_OBJECT
public:
    HXServerTrustDialog(const HXPresenter::Alert &alert, QWidget *parent = nullptr);

    // The button chosen, as an index into the alert's buttons; the last
    // (Cancel) when the dialog was closed otherwise.
    int chosenButton() const { return m_chosen; }
    bool alwaysTrust() const;
    QCheckBox *alwaysTrustBox() const { return m_always; }
    QTreeWidget *chainView() const { return m_chain; }

private:
    void _showCertificate(int index);

    HXPresenter::Alert m_alert;
    QStringList m_errors; // per certificate of the chain, one text each
    QTreeWidget *m_chain = nullptr;
    QLabel *m_details = nullptr;
    QCheckBox *m_always = nullptr;
    int m_chosen = -1;
};
