#pragma once

#include <QList>
#include <QStatusBar>
#include <functional>

class QLabel;

/// The main window's status bar: eleven panels counted from 1, the odd ones up to 9 fixed labels.
class StatusPanels final : public QStatusBar
{
    Q_OBJECT
public:
    static constexpr int panelCount = 11;

    explicit StatusPanels(QWidget *parent = nullptr);

    /// Painted at once.
    void setText(int panel, const QString &text);
    /// width: pixels; what does not fit the bar is cut off.
    void setPanelWidth(int panel, int width);

    /// What a tooltip of the panels tells, asked when it is shown.
    void setStatus(std::function<QString()> status) { m_status = std::move(status); }

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void fitFont(QLabel &panel) const;
    void placePanels();
    [[nodiscard]] QLabel *label(int panel) const;

    QList<QLabel *> m_labels;
    std::function<QString()> m_status;
};
