// Setups of a whole filter: every document loads, and what is saved then loads into another filter
// and is saved the same there.

#include "fuzz_text.h"

#include "graph/mixer_filter.h"
#include "platform/counted_string.h"

#include <qdvideomixer/create.h>
#include <qdvideomixer/persist.h>

#include <string>

using namespace qdvm;

namespace {

Ref<IQPersist> NewMixer() {
    Ref<IQPersist> mixer;
    fuzz::Require(CreateQDVideoMixer(IID_IQPersist, mixer.PutVoid()) == S_OK);
    return mixer;
}

std::u16string Saved(IQPersist& mixer) {
    CountedString text;
    fuzz::Require(mixer.PersistSaveToString(nullptr, text.Put(), nullptr) == S_OK);
    return std::u16string(text.View());
}

std::u16string Reloaded(const std::u16string& text) {
    const Ref<IQPersist> mixer = NewMixer();
    fuzz::Require(mixer->PersistLoad(nullptr, CountedString(text).Get(), nullptr) == S_OK);
    return Saved(*mixer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::u16string text = fuzz::NarrowText(data, size);
    // Anything else may be the name of a file, and a picture's path should not lead to one.
    if (text.find(u'<') == std::u16string::npos || text.find(u"mage") != std::u16string::npos)
        return 0;
    const Ref<IQPersist> mixer = NewMixer();
    if (Failed(mixer->PersistLoad(nullptr, CountedString(text).Get(), nullptr))) return 0;
    // The first time, values beyond their range and mixed quotes become what they can be written
    // as.
    const std::u16string first = Reloaded(Reloaded(Saved(*mixer)));
    fuzz::Require(Reloaded(first) == first);
    return 0;
}
