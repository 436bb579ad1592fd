#pragma once
// What a schedule shows, as plain data: the GUI puts it into its grid and
// chart widgets, ostrand-cli prints it. No widget code lives in the core.

#include <cstdint>
#include <string>
#include <vector>

namespace loan {

struct GridData {
    std::vector<std::string> headers;
    // The display pattern of each column ("" for a plain number), as the
    // cells were formatted with it.
    std::vector<std::string> formats;
    // One row per period, each cell already formatted.
    std::vector<std::vector<std::string>> rows;
    // Index into `rows` of the row drawn with the highlight colour, -1 for none.
    int highlightRow = -1;
    uint32_t highlightColor = 0xFFFFC0; // RGB, a pale yellow that keeps text readable
};

struct ChartData {
    std::vector<std::string> legends;   // one per series (column of `values`)
    std::vector<std::string> rowLabels; // one per row of `values`
    std::vector<std::vector<double>> values;
};

} // namespace loan
