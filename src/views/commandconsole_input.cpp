// VXCommandConsole: keys, the mouse selection, the context menu and the
// clipboard actions.  Only the current line, after the last prompt, can be
// changed; everything before it is read-only.
#include "views/commandconsole.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QEnterEvent>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QMouseEvent>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

namespace {

// One line of pasted text: line breaks become blanks.
QString singleLine(QString text)
{
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    text.replace(QChar::ParagraphSeparator, QLatin1Char(' '));
    text.replace(QChar::LineSeparator, QLatin1Char(' '));
    return text;
}

QString plainText(const QTextCursor& c)
{
    QString text = c.selectedText();
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    text.replace(QChar::LineSeparator, QLatin1Char('\n'));
    return text;
}

} // namespace

void VXCommandConsole::keyPressEvent(QKeyEvent* event)
{
    QTextCursor c = textCursor();
    const int position = c.position();
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const int last = int(commands.size()) - 1;

    if (key == Qt::Key_Backspace || key == Qt::Key_Delete) {
        deleteAction(key);
        clearSelection();
        return;
    }
    if (key == Qt::Key_Left) {
        if (position - 1 < cursor_position)
            return;
        QTextEdit::keyPressEvent(event);
        clearSelection();
        return;
    }
    if (key == Qt::Key_Right) {
        if (position + 1 < cursor_position)
            return;
        QTextEdit::keyPressEvent(event);
        clearSelection();
        return;
    }
    if (key == Qt::Key_Up) {
        if (!prompt_open)
            return;
        if (current_command_index < 0)
            current_command_index = last;
        if (current_command_index < 1)
            return;
        if (current_command_index == last)
            original_command = getCurrentCommand();
        current_command_index--;
        setCommand(getCommand(current_command_index));
        return;
    }
    if (key == Qt::Key_Down) {
        if (!prompt_open)
            return;
        if (current_command_index < 0)
            current_command_index = last;
        if (current_command_index >= last)
            return;
        current_command_index++;
        setCommand(current_command_index != last ? getCommand(current_command_index) : original_command);
        return;
    }
    if (modifiers == Qt::ControlModifier) {
        if (key == Qt::Key_X)
            cutAction();
        else if (key == Qt::Key_C)
            copyAction();
        else if (key == Qt::Key_V)
            pasteAction();
        return;
    }
    // the other standard bindings (Shift+Insert, Shift+Delete, ...)
    if (event->matches(QKeySequence::Paste)) {
        pasteAction();
        return;
    }
    if (event->matches(QKeySequence::Cut)) {
        cutAction();
        return;
    }
    if (event->matches(QKeySequence::Copy)) {
        copyAction();
        return;
    }
    const QString text = event->text();
    if (text == QLatin1String("\n") || text == QLatin1String("\r")) {
        if (!prompt_open)
            return;
        const QString line = getCurrentCommand();
        startCommand();
        sendCommand(line, 0, 1);
        return;
    }
    if (key == Qt::Key_Home && editable(position)) {
        // to the start of the command, not of the prompt
        c.setPosition(cursor_position, modifiers & Qt::ShiftModifier ? QTextCursor::KeepAnchor : QTextCursor::MoveAnchor);
        setTextCursor(c);
        clearSelection();
        return;
    }
    if (key == Qt::Key_End || key == Qt::Key_PageUp || key == Qt::Key_PageDown) {
        // moving never changes the text; End always leads back to the line
        QTextEdit::keyPressEvent(event);
        clearSelection();
        return;
    }
    if (editable(c.selectionStart()) && editable(c.selectionEnd())) {
        setCurrentCharFormat(colorFormat(vars.color_foreground, palette().color(QPalette::Text)));
        QTextEdit::keyPressEvent(event);
        setCommandEnd();
    }
    clearSelection();
}

void VXCommandConsole::inputMethodEvent(QInputMethodEvent* event)
{
    const QTextCursor c = textCursor();
    if (editable(c.selectionStart()) && editable(c.selectionEnd())) {
        QTextEdit::inputMethodEvent(event);
        setCommandEnd();
    } else {
        event->ignore();
    }
}

// ---- mouse selection --------------------------------------------------------

int VXCommandConsole::findCommand(int position) const
{
    // the last prompt that starts at or before position
    int lo = 0, hi = int(commands.size()) - 1, found = -1;
    while (lo <= hi) {
        const int mid = lo + (hi - lo) / 2;
        if (commands[mid].position_prompt <= position) {
            found = mid;
            lo = mid + 1;
        } else {
            hi = mid - 1;
        }
    }
    return found;
}

void VXCommandConsole::setSelection(int from, int to)
{
    from = qBound(0, from, documentEnd());
    to = qBound(0, to, documentEnd());
    if (from >= to) {
        clearSelection();
        return;
    }
    QTextEdit::ExtraSelection selection;
    selection.cursor = QTextCursor(document());
    selection.cursor.setPosition(from);
    selection.cursor.setPosition(to, QTextCursor::KeepAnchor);
    if (vars.color_foreground_selection.color.isValid())
        selection.format.setForeground(vars.color_foreground_selection.color);
    if (vars.color_background_selection.color.isValid())
        selection.format.setBackground(vars.color_background_selection.color);
    setExtraSelections({selection});
    selection_start = from;
    selection_end = to;
}

void VXCommandConsole::clearSelection()
{
    if (selection_start >= 0 || !extraSelections().isEmpty())
        setExtraSelections({});
    selection_start = selection_end = -1;
    selection_in_progress = 0;
}

QString VXCommandConsole::selectedText() const
{
    if (selection_start < 0 || selection_end <= selection_start)
        return QString();
    QTextCursor c(document());
    c.setPosition(qBound(0, selection_start, documentEnd()));
    c.setPosition(qBound(0, selection_end, documentEnd()), QTextCursor::KeepAnchor);
    return plainText(c);
}

void VXCommandConsole::mousePressEvent(QMouseEvent* event)
{
    // the text cursor stays on the command line: a click selects, it does
    // not move the place where typing goes
    setFocus(Qt::MouseFocusReason);
    event->accept();
    if (event->button() != Qt::LeftButton)
        return;
    const int position = cursorForPosition(event->position().toPoint()).position();
    selection_command_index = findCommand(position);
    if (selection_command_index >= 0) {
        const VxCommand& command = commands[selection_command_index];
        if (position < command.position_prompt + command.prompt_length) {
            clearSelection();
            return;
        }
    }
    selection_anchor = position;
    setSelection(position, position + 1);
    selection_in_progress = 1;
}

void VXCommandConsole::mouseMoveEvent(QMouseEvent* event)
{
    event->accept();
    if (!selection_in_progress || selection_anchor < 0)
        return;
    const int position = cursorForPosition(event->position().toPoint()).position();
    if (position > selection_anchor)
        setSelection(selection_anchor, std::max(position, selection_anchor + 1));
    else
        setSelection(position, selection_anchor + 1);
    selection_in_progress = 1;
}

void VXCommandConsole::mouseReleaseEvent(QMouseEvent* event)
{
    event->accept();
    selection_in_progress = 0;
}

void VXCommandConsole::mouseDoubleClickEvent(QMouseEvent* event)
{
    mousePressEvent(event);
}

void VXCommandConsole::enterEvent(QEnterEvent* event)
{
    // the console takes the keys when the pointer comes in, as a terminal does
    QTextEdit::enterEvent(event);
    setFocus(Qt::MouseFocusReason);
}

// ---- context menu and clipboard ---------------------------------------------

QMenu* VXCommandConsole::createContextMenu()
{
    auto* menu = new QMenu(this);
    QObject::connect(menu->addAction(QStringLiteral("&Cut")), &QAction::triggered, this, [this] { cutAction(); });
    QObject::connect(menu->addAction(QStringLiteral("&Copy")), &QAction::triggered, this, [this] { copyAction(); });
    QObject::connect(menu->addAction(QStringLiteral("&Paste")), &QAction::triggered, this, [this] { pasteAction(); });
    QObject::connect(menu->addAction(QStringLiteral("Delete")), &QAction::triggered, this, [this] { deleteAction(0); });
    return menu;
}

void VXCommandConsole::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = createContextMenu();
    menu->exec(event->globalPos());
    delete menu;
}

void VXCommandConsole::copyAction()
{
    QString text = selectedText();
    if (text.isEmpty())
        text = plainText(textCursor());
    if (!text.isEmpty())
        QApplication::clipboard()->setText(text);
}

void VXCommandConsole::cutAction()
{
    copyAction();
    deleteAction(0);
}

void VXCommandConsole::pasteAction()
{
    const QString text = singleLine(QApplication::clipboard()->text());
    if (text.isEmpty() || !prompt_open)
        return;
    QTextCursor c = textCursor();
    if (!editable(c.selectionStart()) || !editable(c.selectionEnd()))
        c.movePosition(QTextCursor::End);
    c.insertText(text, colorFormat(vars.color_foreground, palette().color(QPalette::Text)));
    setTextCursor(c);
    setCommandEnd();
    clearSelection();
}

void VXCommandConsole::deleteAction(int key)
{
    if (!prompt_open)
        return;
    if (selection_start >= 0) {
        // the mouse selection goes only when it lies wholly in the current line
        if (editable(selection_start) && editable(selection_end)) {
            QTextCursor c(document());
            c.setPosition(selection_start);
            c.setPosition(selection_end, QTextCursor::KeepAnchor);
            c.removeSelectedText();
            setCommandEnd();
        }
        clearSelection();
        return;
    }
    QTextCursor c = textCursor();
    if (c.hasSelection()) {
        if (editable(c.selectionStart()) && editable(c.selectionEnd()))
            c.removeSelectedText();
    } else if (key == Qt::Key_Backspace) {
        if (c.position() - 1 >= cursor_position && editable(c.position()))
            c.deletePreviousChar();
    } else if (key == Qt::Key_Delete) {
        if (editable(c.position()) && c.position() < documentEnd())
            c.deleteChar();
    }
    setTextCursor(c);
    setCommandEnd();
}
