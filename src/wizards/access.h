#pragma once
// What keyboard users, screen readers and large fonts need from every window
// of ours. Qt gives a default button and an escape key only to dialogs; our
// windows are plain widgets, so each reads the two keys itself.

#include <QString>

class QKeyEvent;
class QWidget;

namespace wizards {

enum class WindowKey { Other, Enter, Escape };

// Enter (with the keypad's too) or Escape as a dialog would take them: Enter
// without a modifier, and the platform's cancel key.
WindowKey ReadWindowKey(const QKeyEvent* event);

// The name a screen reader says for the control, and the longer description
// it offers after it. An empty name names a button by its caption, and
// leaves a text label the name it has, its text: a name set here would hide
// what it says.
void Describe(QWidget* control, const QString& name, const QString& description);

// Chains the focusable controls of `window` in the order its layouts show
// them, top to bottom and left to right, into pages of tab and splitter
// widgets and into scroll areas made of other widgets. Controls created
// later than the ones below them would otherwise come last.
void SetTabOrderByLayout(QWidget* window);

// Keeps `window` at least as high as its layouts need at its present width.
// Qt takes a window's least height from its layouts as if no text wrapped,
// so a text that wraps into more lines in a narrow window squeezed the
// controls below it.
void KeepLeastHeightForWidth(QWidget* window);

} // namespace wizards
