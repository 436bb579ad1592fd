#pragma once
// The small interfaces through which long core operations talk to whoever
// runs them: the wizards adapt them to Qt, ostrand-cli to the terminal, the
// tests to scripted answers. The core never touches a widget or blocks on a
// person except through these.

#include <string>

namespace util {

// A progress bar (0..100) and a one-line status label, set before each step.
class Progress {
public:
    virtual ~Progress() = default;
    virtual void SetValue(double value) = 0;
    virtual void SetStatus(const std::string& text) = 0;
};

// Progress that goes nowhere, for callers that show none.
class NullProgress final : public Progress {
public:
    void SetValue(double) override {}
    void SetStatus(const std::string&) override {}
};

// YesNoDefaultNo asks a question whose Yes cannot be undone: No is the
// default button, and so the answer of Enter and of Esc.
enum class Buttons { OK, OKCancel, YesNo, YesNoDefaultNo };
enum class Icon { None, Information, Question, Exclamation, Critical };
enum class Answer { OK, Cancel, Yes, No };

// What the core may ask of the user interface. The defaults suit a caller
// with no user: events need no pumping, the pointer is not shown, and every
// question is answered with its default button.
class UiServices {
public:
    virtual ~UiServices() = default;
    // Lets pending window events run so that a window repaints during long work.
    virtual void DoEvents() {}
    // Shows (true) or clears (false) the busy (hourglass) pointer.
    virtual void SetBusy(bool) {}
    virtual Answer MessageBox(const std::string& text, Buttons buttons, Icon icon,
                              const std::string& title) {
        (void)text;
        (void)icon;
        (void)title;
        switch (buttons) {
        case Buttons::YesNo:
            return Answer::Yes;
        case Buttons::YesNoDefaultNo:
            return Answer::No;
        default:
            return Answer::OK;
        }
    }
};

} // namespace util
