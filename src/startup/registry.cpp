#include "startup/registry.h"
#include "util/strings.h"

#include <charconv>
#include <optional>
#include <vector>

namespace startup {

namespace {

std::string FullKey(std::string_view key) {
    return std::string(MachineHive) + "\\" + std::string(key);
}

std::optional<int32_t> ToNumber(const std::string& piece) {
    std::string t = util::Trim(piece);
    int32_t n = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size()) {
        return std::nullopt;
    }
    return n;
}

} // namespace

platform::RegistryStore MachineRegistry(const RunSettings& settings) {
    return platform::RegistryStore(settings.RegistryFile);
}

std::string RegistryStoreProblem(const RunSettings& settings) {
    const platform::RegistryStore reg = MachineRegistry(settings);
    const std::string problem = reg.Problem();
    if (problem.empty()) {
        return {};
    }
    return "The settings store " + reg.Path() + " " + problem +
           ". Until it is put right, Ostrand cannot tell where the database is; nothing was "
           "changed.";
}

std::string RegReadString(const platform::RegistryStore& reg, std::string_view key,
                          std::string_view valueName) {
    return reg.ReadString(FullKey(key), valueName);
}

void RegWriteString(const platform::RegistryStore& reg, std::string_view key,
                    std::string_view valueName, std::string_view text) {
    reg.WriteString(FullKey(key), valueName, text);
}

int32_t RegReadDWord(const platform::RegistryStore& reg, std::string_view key,
                     std::string_view valueName) {
    return static_cast<int32_t>(reg.ReadDWord(FullKey(key), valueName));
}

void RegWriteDWord(const platform::RegistryStore& reg, std::string_view key,
                   std::string_view valueName, int32_t number) {
    reg.WriteDWord(FullKey(key), valueName, static_cast<uint32_t>(number));
}

void RegDeleteKey(const platform::RegistryStore& reg, std::string_view key) {
    if (!key.empty()) {
        reg.DeleteKey(FullKey(key));
    }
}

void SaveFormPosition(const platform::RegistryStore& reg, const FormWindow& form) {
    const std::string name = form.FormName();
    const int32_t state = form.WindowState();
    if (state == FormNormal) {
        FormGeometry g = form.Geometry();
        RegWriteString(reg, FormPositionKey, name,
                       std::to_string(g.left) + "," + std::to_string(g.top) + "," +
                           std::to_string(g.width) + "," + std::to_string(g.height));
    }
    RegWriteDWord(reg, FormStateKey, name, state);
}

void RestoreFormPosition(const platform::RegistryStore& reg, FormWindow& form) {
    const std::string name = form.FormName();
    int32_t state = RegReadDWord(reg, FormStateKey, name);
    // A state the window cannot take (a hand-edited store) is not applied.
    if (state >= FormNormal && state <= FormMaximized) {
        form.SetWindowState(state);
    }
    if (form.WindowState() != FormNormal) {
        return;
    }
    std::string text = util::Trim(RegReadString(reg, FormPositionKey, name));
    if (text.empty()) {
        return;
    }
    std::vector<std::string> pieces = util::Split(text, ",");
    if (pieces.size() < 4) {
        return;
    }
    std::optional<int32_t> n[4];
    for (int i = 0; i < 4; ++i) {
        n[i] = ToNumber(pieces[static_cast<size_t>(i)]);
        if (!n[i]) {
            return;
        }
    }
    const FormBorder border = form.Border();
    const bool sizable = border == FormBorder::Sizable || border == FormBorder::SizableToolWindow;
    if (form.IsMainWindow() || sizable) {
        form.Move(FormGeometry{*n[0], *n[1], *n[2], *n[3]});
    } else {
        form.Move(*n[0], *n[1]);
    }
}

} // namespace startup
