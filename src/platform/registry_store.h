#pragma once
// The machine-wide settings store: one text file in the registry-export
// syntax, so support staff can read and edit it and a Windows export can be
// dropped in as it is.
//
//     REGEDIT4
//
//     [HKEY_LOCAL_MACHINE\SOFTWARE\Ketrova\Global\Databases]
//     "Default"="/home/ann/Ketrova/db/"
//     "Count"=dword:0000000a
//
// Keys are named in full, hive included, and compare without regard to case,
// as do value names. Strings and dwords stay distinct types; other types
// found in an imported file are kept untouched but read as neither.
//
// Every call re-reads the file, so several programs can share it. A write
// re-reads and rewrites the whole file under an exclusive lock, through a
// temporary file and a rename, so a crash or a concurrent writer never leaves
// a half-written store and never loses another program's keys. A missing,
// empty, unreadable or damaged file reads as (partly) empty, which is why
// the front ends ask Problem() before they take an empty answer for "not
// there"; lines that do not parse are dropped on the next write, everything
// that parsed is kept.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// $KETROVA_REGISTRY, else $XDG_CONFIG_HOME/Ketrova/registry.reg, else
// ~/.config/Ketrova/registry.reg.
std::string DefaultRegistryPath();

class RegistryStore {
public:
    explicit RegistryStore(std::string path) : path_(std::move(path)) {}
    const std::string& Path() const { return path_; }

    // Why a store that exists cannot be read as one, as the rest of a
    // sentence that begins with its path ("cannot be read (Permission
    // denied)", "is damaged: ..."); "" for a readable or a missing store.
    std::string Problem() const;

    // The string value; "" when the key or value is missing or is not a string.
    std::string ReadString(std::string_view key, std::string_view name) const;
    // The dword value; 0 when the key or value is missing or is not a dword.
    uint32_t ReadDWord(std::string_view key, std::string_view name) const;
    bool ValueExists(std::string_view key, std::string_view name) const;
    // True when the key has a section of its own or any subkey.
    bool KeyExists(std::string_view key) const;
    // Names of the immediate subkeys (as first spelt in the file).
    std::vector<std::string> SubKeys(std::string_view key) const;
    // Names of the key's values in file order ("" is the key's default value).
    std::vector<std::string> ValueNames(std::string_view key) const;

    // Writers create the key when it is missing and return false when the
    // store could not be written (the caller usually ignores that). A text is
    // stored up to its first NUL character.
    bool WriteString(std::string_view key, std::string_view name, std::string_view text) const;
    bool WriteDWord(std::string_view key, std::string_view name, uint32_t value) const;
    // Removing something that is not there succeeds.
    bool DeleteValue(std::string_view key, std::string_view name) const;
    // Removes the key with all its values and subkeys.
    bool DeleteKey(std::string_view key) const;

private:
    std::string path_;
};

} // namespace platform
