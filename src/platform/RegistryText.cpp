#include "platform/RegistryText.h"

#include <utility>

#include "text/Utf.h"

namespace Platform {
namespace {

constexpr std::u16string_view hive = u"hkey_local_machine";
// The registry's own limit; it bounds the recursion when a tree is destroyed.
constexpr size_t mostLevels = 512;
constexpr std::u16string_view space = u" \t";

std::u16string_view trimmedUnits(std::u16string_view text) {
    const size_t begin = text.find_first_not_of(space);
    if (begin == std::u16string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(space) - begin + 1);
}

bool takeStart(std::u16string_view& text, std::u16string_view start) {
    if (!text.starts_with(start))
        return false;
    text.remove_prefix(start.size());
    return true;
}

bool blankOrComment(std::u16string_view text) {
    text = trimmedUnits(text);
    return text.empty() || text.front() == u';';
}

// Takes the next segment of a key's path.
std::u16string_view takeSegment(std::u16string_view& path) {
    const size_t end = path.find(u'\\');
    const std::u16string_view segment = path.substr(0, end);
    path.remove_prefix(end == std::u16string_view::npos ? path.size() : end + 1);
    return segment;
}

class Parser {
public:
    explicit Parser(std::u16string_view text) : rest_(text) {}

    RegistryText run() {
        bool first = true;
        std::u16string_view line;
        while (nextLine(line)) {
            line = trimmedUnits(line);
            if (blankOrComment(line))
                continue;
            const bool header = std::exchange(first, false) &&
                                (line.starts_with(u"Windows Registry Editor") || line == u"REGEDIT4");
            if (header)
                continue;
            const char16_t* problem = line.front() == u'[' ? parseKey(line) : parseValue(line);
            if (problem) {
                result_.localMachine = {};
                result_.error =
                    problem + std::u16string(u", line ") + Ferrow::toUtf16(std::to_string(lineNumber_));
                break;
            }
        }
        return std::move(result_);
    }

private:
    enum class Section { none, key, skipped };

    bool nextLine(std::u16string_view& line) {
        if (rest_.empty())
            return false;
        const size_t end = rest_.find(u'\n');
        line = rest_.substr(0, end);
        rest_.remove_prefix(end == std::u16string_view::npos ? rest_.size() : end + 1);
        if (line.ends_with(u'\r'))
            line.remove_suffix(1);
        ++lineNumber_;
        return true;
    }

    const char16_t* parseKey(std::u16string_view line) {
        const size_t end = line.rfind(u']');
        if (end == std::u16string_view::npos || !blankOrComment(line.substr(end + 1)))
            return u"key without closing bracket";
        line = trimmedUnits(line.substr(1, end - 1));
        const bool removes = takeStart(line, u"-");
        while (line.ends_with(u'\\'))
            line.remove_suffix(1);
        const std::u16string folded = Ferrow::toLowerAscii(line);
        std::u16string_view path = folded;
        section_ = Section::skipped;
        const std::u16string_view head = takeSegment(path);
        if (!head.starts_with(u"hkey_"))
            return u"key of no hive";
        if (head != hive)
            return nullptr;
        if (removes)
            return removeKey(path);
        RegistryNode* node = &result_.localMachine;
        for (size_t level = 0; !path.empty(); ++level) {
            const std::u16string_view segment = takeSegment(path);
            if (segment.empty())
                return u"empty key name";
            if (level == mostLevels)
                return u"keys nested too deeply";
            std::unique_ptr<RegistryNode>& child = node->children[std::u16string(segment)];
            if (!child)
                child = std::make_unique<RegistryNode>();
            node = child.get();
        }
        node_ = node;
        section_ = Section::key;
        return nullptr;
    }

    const char16_t* removeKey(std::u16string_view path) {
        RegistryNode* node = &result_.localMachine;
        while (!path.empty()) {
            const auto child = node->children.find(takeSegment(path));
            if (child == node->children.end())
                return nullptr;
            if (path.empty()) {
                node->children.erase(child);
                return nullptr;
            }
            node = child->second.get();
        }
        result_.localMachine = {};
        return nullptr;
    }

    const char16_t* parseValue(std::u16string_view line) {
        std::u16string name;
        if (!takeStart(line, u"@")) {
            if (!takeStart(line, u"\""))
                return u"neither key nor value";
            if (!parseQuoted(line, name))
                return u"malformed value name";
        }
        line = trimmedUnits(line);
        if (!takeStart(line, u"="))
            return u"value without \"=\"";
        line = trimmedUnits(line);
        RegistryValue value;
        bool removes = false;
        if (takeStart(line, u"\"")) {
            std::u16string text;
            if (!parseQuoted(line, text) || !blankOrComment(line))
                return u"malformed text";
            value = std::move(text);
        } else if (takeStart(line, u"dword:")) {
            uint32_t number = 0;
            if (!parseHexadecimal(line, number))
                return u"malformed dword";
            value = number;
        } else if (line.starts_with(u"hex")) {
            if (line.find(u':') == std::u16string_view::npos)
                return u"malformed hex value";
            // A value of bytes goes on over every line that ends in a backslash.
            while (trimmedUnits(line).ends_with(u'\\') && nextLine(line)) {
            }
        } else if (takeStart(line, u"-") && blankOrComment(line)) {
            removes = true;
        } else {
            return u"value of unknown type";
        }
        if (section_ == Section::none)
            return u"value outside any key";
        if (section_ == Section::skipped)
            return nullptr;
        if (removes)
            node_->values.erase(Ferrow::toLowerAscii(name));
        else
            node_->values[Ferrow::toLowerAscii(name)] = std::move(value);
        return nullptr;
    }

    // Reads up to the closing quote; the opening one has been taken.
    static bool parseQuoted(std::u16string_view& line, std::u16string& text) {
        while (!line.empty()) {
            char16_t unit = line.front();
            line.remove_prefix(1);
            if (unit == u'"')
                return true;
            if (unit == u'\\') {
                if (line.empty() || (line.front() != u'\\' && line.front() != u'"'))
                    return false;
                unit = line.front();
                line.remove_prefix(1);
            }
            text += unit;
        }
        return false;
    }

    static bool parseHexadecimal(std::u16string_view line, uint32_t& number) {
        line = trimmedUnits(line.substr(0, line.find(u';')));
        if (line.empty() || line.size() > 8)
            return false;
        for (const char16_t unit : line) {
            const std::u16string_view digits = u"0123456789abcdef";
            const size_t digit = digits.find(unit >= u'A' && unit <= u'F' ? unit - u'A' + u'a' : unit);
            if (digit == std::u16string_view::npos)
                return false;
            number = number << 4 | static_cast<uint32_t>(digit);
        }
        return true;
    }

    std::u16string_view rest_;
    size_t lineNumber_ = 0;
    RegistryText result_;
    RegistryNode* node_ = nullptr;
    Section section_ = Section::none;
};

}  // namespace

const RegistryNode* findRegistryKey(const RegistryNode& root, std::u16string_view path) {
    const RegistryNode* node = &root;
    while (path.ends_with(u'\\'))
        path.remove_suffix(1);
    while (!path.empty()) {
        const auto child = node->children.find(takeSegment(path));
        if (child == node->children.end())
            return nullptr;
        node = child->second.get();
    }
    return node;
}

RegistryText parseRegistryText(std::string_view bytes) {
    std::u16string text;
    if (bytes.starts_with("\xFF\xFE")) {
        text = Ferrow::fromLittleEndian(bytes.substr(2));
    } else {
        if (bytes.starts_with("\xEF\xBB\xBF"))
            bytes.remove_prefix(3);
        if (!Ferrow::isUtf8(bytes))
            return {{}, u"text that is not UTF-8"};
        text = Ferrow::toUtf16(bytes);
    }
    return Parser(text).run();
}

}  // namespace Platform
