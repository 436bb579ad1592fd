// ostrand-cli schedule: builds a loan's amortization schedule with the
// suite's engine, applies extra payments and rate changes in the order
// given, and prints the grid or the stored text.

#include "app/cli_common.h"
#include "loan/amort.h"
#include "loan/dates.h"
#include "util/strings.h"
#include "util/vb_number.h"

#include <iostream>
#include <memory>
#include <optional>

namespace cli {

namespace {

struct ScheduleOptions {
    double pv = 0;
    double rate = 0;
    double periods = 0;
    std::string firstDue;
    int balloon = 0;
    bool interestOnly = false;
    std::vector<std::string> extra;
    std::vector<std::string> rateChange;
    bool dataString = false;
};

// "P=VALUE": a period number and a number.
std::optional<std::pair<int16_t, float>> PeriodValue(const std::string& text) {
    auto eq = text.find('=');
    if (eq == std::string::npos) {
        return std::nullopt;
    }
    auto period = util::TextToDouble(text.substr(0, eq));
    auto value = util::TextToSingle(text.substr(eq + 1));
    if (!period || !value || *period != static_cast<int16_t>(*period)) {
        return std::nullopt;
    }
    return std::make_pair(static_cast<int16_t>(*period), *value);
}

int RunSchedule(const ScheduleOptions& opt, const std::vector<CLI::Option*>& order,
                const CLI::Option* extraOpt, const CLI::Option* rateOpt) {
    loan::Date first;
    if (!opt.firstDue.empty()) {
        auto d = loan::ParseDateText(opt.firstDue);
        if (!d) {
            std::cerr << "schedule: --first-due wants a date as M/D/YYYY or YYYY-MM-DD, not \""
                      << opt.firstDue << "\"\n";
            return 2;
        }
        first = *d;
    }
    // Changes apply in the order given, extra payments and rate changes mixed.
    struct Change {
        bool extra;
        int16_t period;
        float value;
    };
    std::vector<Change> changes;
    size_t nextExtra = 0;
    size_t nextRate = 0;
    for (const CLI::Option* o : order) {
        bool isExtra = o == extraOpt;
        if (!isExtra && o != rateOpt) {
            continue;
        }
        const std::string& text =
            isExtra ? opt.extra.at(nextExtra++) : opt.rateChange.at(nextRate++);
        auto pv = PeriodValue(text);
        if (!pv) {
            std::cerr << "schedule: " << (isExtra ? "--extra" : "--rate-change")
                      << " wants PERIOD=NUMBER, not \"" << text << "\"\n";
            return 2;
        }
        changes.push_back({isExtra, pv->first, pv->second});
    }

    platform::SystemClock clock;
    TerminalUi ui(false);
    loan::cShared_Amort amort(clock, ui);
    if (!amort.CreateAmortization(opt.pv, opt.rate, opt.periods, first,
                                  static_cast<int16_t>(opt.balloon), opt.interestOnly, "m")) {
        std::cerr << "schedule: no schedule can be built from these terms\n";
        return 1;
    }
    for (const Change& c : changes) {
        bool ok = c.extra ? amort.PayExtra(c.period, c.value) : amort.AdjustI(c.value, c.period);
        if (!ok) {
            std::cerr << "schedule: " << (c.extra ? "the extra payment" : "the rate change")
                      << " in period " << c.period << " was not applied\n";
            return 1;
        }
    }

    if (opt.dataString) {
        std::cout << amort.DataString() << '\n';
        return 0;
    }
    loan::GridData grid;
    amort.ShowGrid(grid);
    auto printRow = [](const std::vector<std::string>& cells) {
        for (size_t i = 0; i < cells.size(); ++i) {
            std::cout << (i ? "\t" : "") << cells[i];
        }
        std::cout << '\n';
    };
    printRow(grid.headers);
    for (const auto& row : grid.rows) {
        printRow(row);
    }
    return 0;
}

} // namespace

void RegisterLoanCommands(CLI::App& app, Context& ctx) {
    auto opt = std::make_shared<ScheduleOptions>();
    CLI::App* sub = app.add_subcommand(
        "schedule", "Build a monthly amortization schedule, apply extra payments and rate "
                    "changes in the order given, and print its grid tab-separated (or with "
                    "--datastring the stored schedule text)");
    sub->add_option("--pv", opt->pv, "Amount borrowed")->required();
    sub->add_option("--rate", opt->rate, "Annual interest rate in percent (7.5 for 7.5 %)")
        ->required();
    sub->add_option("--periods", opt->periods, "Term in months")->required();
    sub->add_option("--first-due", opt->firstDue, "First due date, M/D/YYYY (default today)");
    sub->add_option("--balloon", opt->balloon, "Balloon period (0: none)")
        ->check(CLI::Range(0, 32767));
    sub->add_flag("--interest-only", opt->interestOnly, "Pay interest only");
    CLI::Option* extra =
        sub->add_option("--extra", opt->extra, "Extra principal, PERIOD=AMOUNT (repeatable)")
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    CLI::Option* rate =
        sub->add_option("--rate-change", opt->rateChange,
                        "New annual rate from a period on, PERIOD=PERCENT (repeatable)")
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    sub->add_flag("--datastring", opt->dataString, "Print the stored schedule text instead");
    sub->callback([&ctx, opt, sub, extra, rate] {
        try {
            ctx.exitCode = RunSchedule(*opt, sub->parse_order(), extra, rate);
        } catch (const std::exception& e) {
            std::cerr << "schedule: " << e.what() << "\n";
            ctx.exitCode = 1;
        }
    });
}

} // namespace cli
