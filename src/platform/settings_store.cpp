#include "platform/settings_store.h"

#include "platform/files_at.h"
#include "platform/text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace qdvm {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

char Lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        switch (character) {
            case '\n':
                quoted += "\\n";
                break;
            case '\r':
                quoted += "\\r";
                break;
            case '"':
            case '\\':
                quoted += '\\';
                [[fallthrough]];
            default:
                quoted += character;
        }
    }
    return quoted + '"';
}

// Takes the quoted text at the start of rest and moves rest past it.
std::optional<std::string> TakeQuoted(std::string_view& rest) {
    if (!rest.starts_with('"')) {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (rest[i] == '"') {
            rest.remove_prefix(i + 1);
            return text;
        }
        if (rest[i] != '\\' || i + 1 == rest.size()) {
            text += rest[i];
            continue;
        }
        ++i;
        text += rest[i] == 'n' ? '\n' : rest[i] == 'r' ? '\r' : rest[i];
    }
    return std::nullopt;
}

// A line of the file: the name of the value and how the value is written.
struct SettingsLine {
    std::string name;
    std::string_view literal;
};

std::optional<SettingsLine> ParseLine(std::string_view line) {
    std::string_view rest = Trim(line);
    std::optional<std::string> name = TakeQuoted(rest);
    if (!name) {
        return std::nullopt;
    }
    rest = Trim(rest);
    if (!rest.starts_with('=')) {
        return std::nullopt;
    }
    return SettingsLine{*name, Trim(rest.substr(1))};
}

std::optional<std::uint32_t> ParseU32(std::string_view literal) {
    int base = 10;
    if (literal.starts_with("0x") || literal.starts_with("0X")) {
        literal.remove_prefix(2);
        base = 16;
    }
    std::uint32_t value = 0;
    const char* const end = literal.data() + literal.size();
    const auto [stop, error] = std::from_chars(literal.data(), end, value, base);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::string> ParseText(std::string_view literal) {
    std::optional<std::string> text = TakeQuoted(literal);
    return literal.empty() ? text : std::nullopt;
}

HRESULT ReadLines(const std::string& fileName, std::vector<std::string>& lines) {
    std::vector<std::uint8_t> contents;
    const HRESULT result = ReadFileAt(fileName, contents);
    std::string_view rest(reinterpret_cast<const char*>(contents.data()), contents.size());
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        lines.emplace_back(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return result;
}

HRESULT WriteLines(const std::string& fileName, const std::vector<std::string>& lines) {
    std::string contents;
    for (const std::string& line : lines) {
        contents += line;
        contents += '\n';
    }
    return ReplaceFileAt(fileName,
                         {reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size()});
}

// Gives the value its new literal in place of its old line, or at the end.
void SetLine(std::vector<std::string>& lines, const std::string& name, const std::string& literal) {
    const auto isOfName = [&](const std::string& line) {
        const std::optional<SettingsLine> parsed = ParseLine(line);
        return parsed && EqualsIgnoringCase(parsed->name, name);
    };
    const std::string newLine = Quote(name) + " = " + literal;
    const auto found = std::find_if(lines.begin(), lines.end(), isOfName);
    if (found == lines.end()) {
        lines.push_back(newLine);
        return;
    }
    *found = newLine;
    lines.erase(std::remove_if(found + 1, lines.end(), isOfName), lines.end());
}

HRESULT FindLiteral(const std::string& fileName, std::u16string_view name, std::string& literal) {
    if (fileName.empty()) {
        return E_UNEXPECTED;
    }
    std::vector<std::string> lines;
    const HRESULT result = ReadLines(fileName, lines);
    if (Failed(result)) {
        return result;
    }
    const std::string wanted = ToUtf8(name);
    for (const std::string& line : lines) {
        const std::optional<SettingsLine> parsed = ParseLine(line);
        if (parsed && EqualsIgnoringCase(parsed->name, wanted)) {
            literal = parsed->literal;
            return S_OK;
        }
    }
    return HResultFromWin32(ERROR_FILE_NOT_FOUND);
}

// The file of a key below the settings directory; empty for a path that names no place there.
std::string RelativeFileName(std::u16string_view path) {
    std::string name;
    std::string part;
    for (const char character : ToUtf8(path) + '\\') {
        if (character != '\\') {
            part += Lower(character);
            continue;
        }
        const bool isPlain = std::none_of(part.begin(), part.end(), [](char c) {
            return c == '/' || static_cast<unsigned char>(c) < ' ';
        });
        if (part.empty() || part.front() == '.' || !isPlain) {
            return {};
        }
        name += '/' + part;
        part.clear();
    }
    return name + ".settings";
}

std::string DirectoryOf(const std::string& fileName) {
    return fileName.substr(0, fileName.rfind('/'));
}

}  // namespace

HRESULT SettingsKey::OpenOrCreate(std::u16string_view path, SettingsKey& key) {
    key.fileName.clear();
    const std::string relativeName = RelativeFileName(path);
    if (relativeName.empty()) {
        return E_INVALIDARG;
    }
    const std::string directory = SettingsDirectory();
    if (directory.empty()) {
        return HResultFromWin32(ERROR_PATH_NOT_FOUND);
    }
    const std::string fileName = directory + relativeName;
    HRESULT result = MakeDirectories(DirectoryOf(fileName));
    if (Succeeded(result)) {
        result = TouchFileAt(fileName);
    }
    if (Succeeded(result)) {
        key.fileName = fileName;
    }
    return result;
}

HRESULT SettingsKey::ReadU32(std::u16string_view name, std::uint32_t& value) const {
    std::string literal;
    const HRESULT result = FindLiteral(fileName, name, literal);
    if (Failed(result)) {
        return result;
    }
    const std::optional<std::uint32_t> number = ParseU32(literal);
    if (!number) {
        return HResultFromWin32(ERROR_INVALID_DATA);
    }
    value = *number;
    return S_OK;
}

HRESULT SettingsKey::ReadText(std::u16string_view name, std::u16string& value) const {
    std::string literal;
    const HRESULT result = FindLiteral(fileName, name, literal);
    if (Failed(result)) {
        return result;
    }
    const std::optional<std::string> text = ParseText(literal);
    if (!text) {
        return HResultFromWin32(ERROR_INVALID_DATA);
    }
    value = FromUtf8(*text);
    return S_OK;
}

HRESULT SettingsKey::WriteU32(std::u16string_view name, std::uint32_t value) {
    return Write(name, std::to_string(value));
}

HRESULT SettingsKey::WriteText(std::u16string_view name, std::u16string_view value) {
    return Write(name, Quote(ToUtf8(value)));
}

HRESULT SettingsKey::Write(std::u16string_view name, const std::string& literal) {
    if (fileName.empty()) {
        return E_UNEXPECTED;
    }
    DirectoryTurn turn;
    HRESULT result = turn.Take(DirectoryOf(fileName));
    if (Failed(result)) {
        return result;
    }
    std::vector<std::string> lines;
    result = ReadLines(fileName, lines);
    if (Failed(result) && result != HResultFromWin32(ERROR_FILE_NOT_FOUND)) {
        return result;
    }
    SetLine(lines, ToUtf8(name), literal);
    return WriteLines(fileName, lines);
}

}  // namespace qdvm
