#pragma once

#include "service/MessageBoxes.h"

#include <QDialog>
#include <functional>

class DatabaseSession;
class QComboBox;
class QLineEdit;
class QPushButton;
class Registry;

/// The settings dialog: the modem's COM port, the SMS centre number and the scan interval. What it stores is
/// used by the next Start. A registry that cannot be read or written is told in a message box with the cause;
/// the dialog then stays open with everything that was typed.
class frmParm final : public QDialog
{
    Q_OBJECT
public:
    frmParm(DatabaseSession &session, Registry &registry, MessageBoxes &boxes, QWidget *parent);

    /// Opens the database session anew and shows the stored values. Call it before exec().
    void Form_Load();
    /// What the test button runs, a program and its arguments; without it the button is not there.
    void setSelfCheck(std::function<QStringList()> selfCheck);

public slots:
    /// Stores the fields in their order; the first bad one is told, gets the focus and ends the storing.
    void btnOK_Click();
    /// Closes without storing.
    void Command1_Click() { reject(); }
    /// Shows what that program says of the stored values, as it says it; closing the page ends it.
    void btnTest_Click();

private:
    void buildDialog();
    void showStoredValues();
    /// True when every field was stored.
    [[nodiscard]] bool store();
    void refuse(const QString &text, QWidget *field);

    DatabaseSession &m_session;
    Registry &m_registry;
    MessageBoxes &m_boxes;

    QComboBox *PortNumber;
    QLineEdit *CenterCode;
    QLineEdit *txtTimeDelay;
    QPushButton *btnTest;
    std::function<QStringList()> m_selfCheck;
};
