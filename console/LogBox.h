#pragma once

#include "platform/files/FileError.h"

#include <QPlainTextEdit>
#include <QTextBlock>

/// The log box: newest line first, never trimmed, text selectable. Adding a line costs the same however many
/// there are.
class LogBox final : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit LogBox(QWidget *parent = nullptr);

    /// Puts the line in front of the text and paints it at once. A view scrolled away from the top keeps
    /// showing what it showed.
    void prependLine(const QString &line);
    /// The line at the view's upper edge.
    [[nodiscard]] QString firstVisibleLine() const { return firstVisibleBlock().text(); }

    /// Puts the text into a file, oldest line last as it is shown.
    [[nodiscard]] FileError saveAs(const QString &fileName) const;
    /// Selects the next place below the cursor, from the top again after the last. False when there is none.
    bool findNext(const QString &text);

protected:
    void contextMenuEvent(QContextMenuEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void askAndSave();
    void askAndFind();

    QString m_sought;
};
