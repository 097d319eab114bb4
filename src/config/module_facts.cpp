#include "config/module_facts.h"

#include "config/value_text.h"
#include "platform/letter_case.h"
#include "platform/module.h"
#include "platform/text.h"

#include <qdvideomixer/version.h>

namespace qdvm {
namespace {

std::u16string VersionText() {
    return FormatInt(QDVM_VERSION_MAJOR) + u"." + FormatInt(QDVM_VERSION_MINOR) + u"." +
           FormatInt(QDVM_VERSION_PATCH) + u".0";
}

std::u16string BuildDate() { return FromLatin1(__DATE__ " " __TIME__); }

struct Fact {
    std::u16string_view name;
    std::u16string (*tell)();
};

constexpr Fact kFacts[] = {
    {u"dll-version", VersionText},
    {u"dll-file-version", VersionText},
    {u"dll-path", ModulePath},
    {u"dll-date", BuildDate},
};

}  // namespace

std::optional<std::u16string> FindModuleFact(std::u16string_view name) {
    for (const Fact& fact : kFacts)
        if (EqualsIgnoringCase(name, fact.name)) return fact.tell();
    return std::nullopt;
}

}  // namespace qdvm
