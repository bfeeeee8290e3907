#include "simulated_mac/description/RecordedValue.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "simulated_mac/description/HexText.h"

namespace simulated_mac {

namespace {

constexpr int mostLevels = 64;

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    std::optional<PropertyValue> whole() {
        auto result = value(0);
        if (!text_.empty()) return std::nullopt;
        return result;
    }

  private:
    using Result = std::optional<PropertyValue>;

    bool take(char wanted) {
        if (text_.empty() || text_.front() != wanted) return false;
        text_.remove_prefix(1);
        return true;
    }

    bool takeWord(std::string_view word) {
        if (text_.substr(0, word.size()) != word) return false;
        text_.remove_prefix(word.size());
        return true;
    }

    Result value(int level) {
        if (text_.empty() || level > mostLevels) return std::nullopt;
        switch (text_.front()) {
            case '"':
                return string(level);
            case '<':
                return data();
            case '(':
                return list('(', ')', level);
            case '[':
                return list('[', ']', level);
            case '{':
                return dictionary(level);
            default:
                break;
        }
        if (takeWord("Yes")) return PropertyValue{true};
        if (takeWord("No")) return PropertyValue{false};
        return number();
    }

    Result number() {
        const bool hexadecimal = text_.substr(0, 2) == "0x";
        const std::string_view digits = text_.substr(hexadecimal ? 2 : 0);
        std::uint64_t pattern = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(),
                                                  pattern, hexadecimal ? 16 : 10);
        if (error != std::errc()) return std::nullopt;
        text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
        return PropertyValue{static_cast<std::int64_t>(pattern)};
    }

    /// The text up to the quote that ends it. `ends` are the characters that may follow that one.
    std::optional<std::string> quoted(std::string_view ends) {
        if (!take('"')) return std::nullopt;
        for (std::size_t at = text_.find('"'); at != std::string_view::npos;
             at = text_.find('"', at + 1)) {
            const bool isLast = at + 1 == text_.size();
            if (!isLast && ends.find(text_[at + 1]) == std::string_view::npos) continue;
            std::string result(text_.substr(0, at));
            text_.remove_prefix(at + 1);
            return result;
        }
        return std::nullopt;
    }

    /// By itself a text goes on to the last quote of all.
    Result string(int level) {
        const auto result = quoted(level == 0 ? "" : ",)}]");
        if (!result) return std::nullopt;
        return PropertyValue{*result};
    }

    Result data() {
        take('<');
        Bytes bytes;
        if (!text_.empty() && text_.front() == '"') {
            do {
                const auto piece = quoted(",>");
                if (!piece) return std::nullopt;
                bytes.insert(bytes.end(), piece->begin(), piece->end());
                bytes.push_back(0);
            } while (take(','));
        } else {
            for (; text_.size() >= 2 && text_.front() != '>'; text_.remove_prefix(2)) {
                std::uint8_t byte = 0;
                const char* const end = text_.data() + 2;
                if (std::from_chars(text_.data(), end, byte, 16).ptr != end) return std::nullopt;
                bytes.push_back(byte);
            }
        }
        if (!take('>')) return std::nullopt;
        return PropertyValue{std::move(bytes)};
    }

    Result list(char begin, char end, int level) {
        take(begin);
        PropertyList elements;
        if (take(end)) return PropertyValue{std::move(elements)};
        do {
            auto element = value(level + 1);
            if (!element) return std::nullopt;
            elements.push_back(std::move(*element));
        } while (take(','));
        if (!take(end)) return std::nullopt;
        return PropertyValue{std::move(elements)};
    }

    Result dictionary(int level) {
        take('{');
        PropertyMap map;
        if (take('}')) return PropertyValue{std::move(map)};
        do {
            auto key = quoted("=");
            if (!key || !take('=')) return std::nullopt;
            auto element = value(level + 1);
            if (!element) return std::nullopt;
            map.emplace_back(std::move(*key), std::move(*element));
        } while (take(','));
        if (!take('}')) return std::nullopt;
        return PropertyValue{std::move(map)};
    }

    std::string_view text_;
};

/// The texts that data consists of, each but the last ended by a zero byte; none for other data.
/// A single byte is no text.
std::vector<std::string_view> textsIn(const Bytes& data) {
    std::vector<std::string_view> texts;
    if (data.size() < 2) return texts;
    for (auto at = data.begin(); at != data.end();) {
        const auto end = std::find(at, data.end(), 0);
        const bool printable =
            std::all_of(at, end, [](std::uint8_t byte) { return byte >= ' ' && byte < 0x7F; });
        if (at == end || !printable) return {};
        texts.emplace_back(reinterpret_cast<const char*>(&*at), static_cast<std::size_t>(end - at));
        at = end == data.end() ? end : end + 1;
    }
    return texts;
}

/// Appends to one text, so that depth costs nothing.
class Printer {
  public:
    Printer(std::string& text, bool hexadecimal) : text_(text), hexadecimal_(hexadecimal) {}

    void print(const PropertyValue& value) { std::visit(*this, value.value); }

    void operator()(std::monostate) {}
    void operator()(bool value) { text_ += value ? "Yes" : "No"; }
    void operator()(std::int64_t value) {
        // The registry's numbers are unsigned.
        const auto number = static_cast<std::uint64_t>(value);
        text_ += hexadecimal_ ? fmt::format("{:#x}", number) : std::to_string(number);
    }
    void operator()(double value) { text_ += fmt::format("{}", value); }
    void operator()(const std::string& value) { printQuoted(value); }
    void operator()(const Bytes& value) {
        text_ += '<';
        const auto texts = hexadecimal_ ? std::vector<std::string_view>() : textsIn(value);
        if (texts.empty()) text_ += lowerHexText(value);
        printEach(texts, [this](std::string_view text) { printQuoted(text); });
        text_ += '>';
    }
    void operator()(const PropertyList& list) {
        text_ += '(';
        printEach(list, [this](const PropertyValue& element) { print(element); });
        text_ += ')';
    }
    void operator()(const PropertyMap& map) {
        text_ += '{';
        printEach(map, [this](const auto& entry) {
            printQuoted(entry.first);
            text_ += '=';
            print(entry.second);
        });
        text_ += '}';
    }

  private:
    /// Nothing is escaped.
    void printQuoted(std::string_view text) { text_.append("\"").append(text).append("\""); }

    template <class Elements, class PrintElement>
    void printEach(const Elements& elements, PrintElement printElement) {
        for (const auto& element : elements) {
            if (&element != &elements.front()) text_ += ',';
            printElement(element);
        }
    }

    std::string& text_;
    bool hexadecimal_;
};

}  // namespace

std::string printRecordedValue(const PropertyValue& value, bool hexadecimal) {
    std::string text;
    Printer(text, hexadecimal).print(value);
    return text;
}

std::optional<PropertyValue> parseRecordedValue(std::string_view text) {
    return Reader(text).whole();
}

}  // namespace simulated_mac
