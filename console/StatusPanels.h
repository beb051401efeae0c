#pragma once

#include <QList>
#include <QStatusBar>

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

protected:
    void changeEvent(QEvent *event) override;

private:
    void fitFont(QLabel &panel) const;
    void placePanels();
    [[nodiscard]] QLabel *label(int panel) const;

    QList<QLabel *> m_labels;
};
