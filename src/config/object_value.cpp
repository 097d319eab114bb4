#include "config/object_value.h"

#include <string>

namespace qdvm {
namespace {

struct Formatter {
    std::u16string operator()(std::monostate) const { return {}; }
    std::u16string operator()(bool value) const { return value ? u"true" : u"false"; }
    std::u16string operator()(std::int32_t value) const { return FormatInt(value); }
    std::u16string operator()(std::uint32_t value) const { return FormatHex32(value); }
    std::u16string operator()(const SizeValue& value) const { return FormatSize(value); }
    std::u16string operator()(double value) const { return FormatDouble(value); }
};

}  // namespace

std::u16string_view ObjectVal::AsText() {
    if (!isTextValid) {
        text = KeptText(std::visit(Formatter{}, typed));
        isTextValid = true;
    }
    return text.View();
}

}  // namespace qdvm
