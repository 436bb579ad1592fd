#include "maintenance/report_lines.h"

namespace maintenance {

std::string Labelled(std::string_view caption, size_t width, std::string_view value,
                     std::string_view marker) {
    std::string line(marker);
    std::string padded(caption.substr(0, width));
    padded.resize(width, ' ');
    line += padded;
    line += ": ";
    line += value;
    return line;
}

std::string Ruler(std::string_view name, size_t trailing) {
    return std::string(29, '-') + " " + std::string(name) + " " + std::string(trailing, '-');
}

std::string ClosingRuler() {
    return std::string(75, '-');
}

} // namespace maintenance
