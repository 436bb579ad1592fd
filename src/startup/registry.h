#pragma once
// The suite's registry access: every key lies under the local machine's hive
// and is named from there ("SOFTWARE\Ketrova\..."). Failures never reach the
// caller: reads give "" or 0, writes are silently lost.

#include "platform/registry_store.h"
#include "startup/run_settings.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace startup {

inline constexpr std::string_view MachineHive = "HKEY_LOCAL_MACHINE";
inline constexpr std::string_view DatabasesKey = "SOFTWARE\\Ketrova\\Global\\Databases";
inline constexpr std::string_view FormPositionKey = "SOFTWARE\\Ketrova\\FormPosition";
inline constexpr std::string_view FormStateKey = "SOFTWARE\\Ketrova\\FormState";

// The machine-wide store this run uses (settings.RegistryFile).
platform::RegistryStore MachineRegistry(const RunSettings& settings);

// When the store exists but cannot be read, the message that says so, naming
// it and why: an empty answer from it would otherwise read as "no database"
// and lead the user to create a new one. "" when it can be read or is missing.
std::string RegistryStoreProblem(const RunSettings& settings);

// A string value; "" when the key or value is missing or holds another type.
std::string RegReadString(const platform::RegistryStore& reg, std::string_view key,
                          std::string_view valueName);
// Creates the key when needed and sets the value as a string.
void RegWriteString(const platform::RegistryStore& reg, std::string_view key,
                    std::string_view valueName, std::string_view text);
// A dword value; 0 when the key or value is missing or holds another type.
int32_t RegReadDWord(const platform::RegistryStore& reg, std::string_view key,
                     std::string_view valueName);
void RegWriteDWord(const platform::RegistryStore& reg, std::string_view key,
                   std::string_view valueName, int32_t number);
// Deletes the key (with whatever lies below it).
void RegDeleteKey(const platform::RegistryStore& reg, std::string_view key);

// A window whose place on the screen is kept between runs. The GUI adapts
// its widgets to this; positions are in the window's own units.
enum class FormBorder {
    None,
    FixedSingle,
    Sizable,
    FixedDialog,
    FixedToolWindow,
    SizableToolWindow
};

struct FormGeometry {
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;
};

// Window states as stored: 0 normal, 1 minimised, 2 maximised.
inline constexpr int32_t FormNormal = 0;
inline constexpr int32_t FormMinimized = 1;
inline constexpr int32_t FormMaximized = 2;

class FormWindow {
public:
    virtual ~FormWindow() = default;
    virtual std::string FormName() const = 0;
    // The main (multiple-document) window of a program.
    virtual bool IsMainWindow() const = 0;
    virtual FormBorder Border() const = 0;
    virtual int32_t WindowState() const = 0;
    virtual void SetWindowState(int32_t state) = 0;
    virtual FormGeometry Geometry() const = 0;
    virtual void Move(int32_t left, int32_t top) = 0;
    virtual void Move(const FormGeometry& geometry) = 0;
};

// Stores the window's position (only while it is in the normal state) and
// always its state, under its form name.
void SaveFormPosition(const platform::RegistryStore& reg, const FormWindow& form);

// Applies the stored state, then, in the normal state, the stored position:
// all four numbers for a main or a sizable window, only left and top for a
// window of fixed size. A position that is empty or not four numbers leaves
// the window where it is.
void RestoreFormPosition(const platform::RegistryStore& reg, FormWindow& form);

} // namespace startup
