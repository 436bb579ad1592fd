#include "app/cli_common.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace cli {

TerminalProgress::TerminalProgress() : tty_(::isatty(STDERR_FILENO) == 1) {}

TerminalProgress::~TerminalProgress() {
    if (drawn_) {
        std::fputs("\n", stderr);
    }
}

void TerminalProgress::SetValue(double value) {
    value_ = value;
    Draw();
}

void TerminalProgress::SetStatus(const std::string& text) {
    status_ = text;
    Draw();
}

void TerminalProgress::Draw() {
    if (!tty_) {
        return;
    }
    constexpr int width = 30;
    int filled = static_cast<int>(value_ * width / 100.0);
    filled = filled < 0 ? 0 : (filled > width ? width : filled);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(width - filled), '.');
    std::fprintf(stderr, "\r\033[K[%s] %3d%% %s", bar.c_str(), static_cast<int>(value_),
                 status_.c_str());
    std::fflush(stderr);
    drawn_ = true;
}

util::Answer TerminalUi::MessageBox(const std::string& text, util::Buttons buttons, util::Icon,
                                    const std::string& title) {
    std::cerr << title << ": " << text << "\n";
    switch (buttons) {
    case util::Buttons::OK:
        return util::Answer::OK;
    case util::Buttons::OKCancel:
        return answerYes_ ? util::Answer::OK : util::Answer::Cancel;
    case util::Buttons::YesNo:
    case util::Buttons::YesNoDefaultNo:
        return answerYes_ ? util::Answer::Yes : util::Answer::No;
    }
    return util::Answer::Cancel;
}

void AddAltDbOption(CLI::App* sub, Context& ctx) {
    sub->add_option("--altdb", ctx.altdb, "Name of the database entry in the registry")
        ->default_val("Default");
}

} // namespace cli
