#include "hosts/qdmix/script.h"

#include "hosts/qdmix/script_words.h"
#include "pixels/chroma_key/key_recipe.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr std::string_view kTimeForms = "a time such as 12, 7.5, 1:30 or +2";

// One line. A fault ends it; what it said until then is left out.
class CueReader {
public:
    CueReader(ScriptWords& theWords, std::int64_t theLastTime)
        : words(theWords), lastTime(theLastTime), time(theLastTime) {}

    std::optional<Cue> Read();

    // Of this cue, if it could be read, else of the one before.
    std::int64_t Time() const { return time; }

private:
    using Reader = void (CueReader::*)();
    struct Verb {
        std::string_view word;
        Reader read;
    };
    static std::span<const Verb> Verbs();

    void ReadTime();
    void ReadVerb();
    void ReadScene();
    void ReadBackground();
    void ReadMove();
    void ReadOrder();
    void ReadKey();
    void ReadShow() { SetVerb(CueVerb::kShow), TakeInput(); }
    void ReadHide() { SetVerb(CueVerb::kHide), TakeInput(); }
    void ReadCapture();
    void ReadAdd();
    void ReadUpdate() { SetVerb(CueVerb::kUpdateScene), TakeWord("scene"), TakeScene(); }
    void ReadRemove() { SetVerb(CueVerb::kRemoveScene), TakeWord("scene"), TakeScene(); }
    void ReadSave();
    void ReadLoad() { SetVerb(CueVerb::kLoadScenes), TakeWord("scenes"), TakeFile(); }
    void ReadEnd() { SetVerb(CueVerb::kEnd); }

    void SetVerb(CueVerb verb) { cue.verb = verb; }
    void TakeWord(std::string_view word);
    void TakeScene();
    void TakeFile();
    void TakeInput();
    void TakePosition();
    void TakeOver();
    std::optional<int> TakeNumber(std::string_view expected);

    ScriptWords& words;
    std::int64_t lastTime;
    std::int64_t time;
    TextPlace lastNumberPlace;
    Cue cue;
};

std::span<const CueReader::Verb> CueReader::Verbs() {
    static constexpr std::array kVerbs = {
        Verb{"scene", &CueReader::ReadScene},   Verb{"background", &CueReader::ReadBackground},
        Verb{"move", &CueReader::ReadMove},     Verb{"order", &CueReader::ReadOrder},
        Verb{"key", &CueReader::ReadKey},       Verb{"show", &CueReader::ReadShow},
        Verb{"hide", &CueReader::ReadHide},     Verb{"capture", &CueReader::ReadCapture},
        Verb{"add", &CueReader::ReadAdd},       Verb{"update", &CueReader::ReadUpdate},
        Verb{"remove", &CueReader::ReadRemove}, Verb{"save", &CueReader::ReadSave},
        Verb{"load", &CueReader::ReadLoad},     Verb{"end", &CueReader::ReadEnd},
    };
    return kVerbs;
}

std::optional<Cue> CueReader::Read() {
    ReadTime();
    if (!words.HasFault()) {
        ReadVerb();
    }
    if (!words.HasFault() && words.AreLeft()) {
        const std::string text = words.Take("")->text;
        words.Fault("nothing is expected after this cue, but there is '" + text + "'");
    }
    return words.HasFault() ? std::nullopt : std::optional(std::move(cue));
}

void CueReader::ReadTime() {
    const ScriptWord* word = words.Take(kTimeForms);
    if (word == nullptr) {
        return;
    }
    cue.place = words.PlaceOf(*word);
    const bool isRelative = word->text.starts_with('+');
    const auto given = ParseTime(std::string_view(word->text).substr(isRelative ? 1 : 0));
    if (!given) {
        words.Fault("a cue begins with " + std::string(kTimeForms) + ", not with '" + word->text +
                    "'");
        return;
    }
    cue.span.start = *given + (isRelative ? lastTime : 0);
    if (cue.span.start < lastTime) {
        words.Fault("cues stand in the order of their time, and the one before comes at " +
                    SecondsText(lastTime) + " s");
        return;
    }
    time = cue.span.start;
}

void CueReader::ReadVerb() {
    std::vector<std::string_view> names;
    for (const Verb& verb : Verbs()) {
        names.push_back(verb.word);
    }
    const ScriptWord* word = words.Take("what happens: " + Choice(names));
    if (word == nullptr) {
        return;
    }
    for (const Verb& verb : Verbs()) {
        if (verb.word == word->text && !word->isQuoted) {
            (this->*verb.read)();
            return;
        }
    }
    const std::string guess = Guess(word->text, names);
    words.Fault("'" + word->text + "' is nothing that a cue can do" +
                (guess.empty() ? "; it can " + Choice(names) : guess));
}

void CueReader::ReadScene() {
    SetVerb(CueVerb::kScene);
    TakeScene();
    TakeOver();
}

void CueReader::ReadBackground() {
    SetVerb(CueVerb::kBackground);
    const ScriptWord* word = words.Take("a colour, a picture file or none");
    if (word == nullptr) {
        return;
    }
    cue.filePlace = words.PlaceOf(*word);
    const auto background = ParseBackground(word->text);
    if (!background) {
        words.Fault("'" + word->text + "' is no colour such as #2040A0, no file, and not none");
        return;
    }
    cue.background = *background;
    TakeOver();
}

void CueReader::ReadMove() {
    SetVerb(CueVerb::kMove);
    TakeInput();
    if (!words.HasFault() && words.TakeIf("rect")) {
        if (const auto rect = TakeNumber("the number of a rect, from 1")) {
            cue.rect = *rect;
        }
    }
    while (!words.HasFault() && words.AreLeft() && words.Peek()->text != "over") {
        if (words.TakeIf("to")) {
            continue;
        }
        const ScriptWord& word = *words.Take("");
        const std::string& text = word.text;
        if (text.starts_with("mask=")) {
            cue.filePlace = words.PlaceOf(word);
        }
        if (const std::string fault = TakeRectWord(cue.change, text); !fault.empty()) {
            words.Fault(fault);
        }
    }
    if (!words.HasFault() && cue.change == RectChange{}) {
        (void)words.TakeIf("over");
        words.Fault("what moves is missing: a place (640,0 or 320x240+640+0) or NAME=VALUE");
    }
    TakeOver();
}

void CueReader::ReadOrder() {
    SetVerb(CueVerb::kOrder);
    TakeInput();
    TakeWord("to");
    TakePosition();
    while (!words.HasFault()) {
        if (words.TakeIf("swap")) {
            cue.swaps = true;
        } else if (words.TakeIf("rearrange")) {
            cue.rearranges = true;
        } else {
            break;
        }
    }
    if (cue.rearranges) {
        TakeOver();
    } else if (words.TakeIf("over")) {
        words.Fault("only an order that says rearrange takes time");
    }
}

void CueReader::TakePosition() {
    if (words.HasFault() || words.TakeIf("top")) {
        return;
    }
    if (words.TakeIf("bottom")) {
        cue.position = 1;
    } else if (const auto position = TakeNumber("a position from 1, top or bottom")) {
        cue.position = *position;
    }
}

void CueReader::ReadKey() {
    SetVerb(CueVerb::kKey);
    TakeInput();
    if (words.HasFault()) {
        return;
    }
    const ScriptWord* word = words.Take("a key such as green,softness=2, or none");
    if (word == nullptr) {
        return;
    }
    cue.key = word->text;
    KeyRecipe recipe;
    if (const auto fault = ParseKey(cue.key, &recipe)) {
        words.Fault(*fault);
    }
}

void CueReader::ReadCapture() {
    SetVerb(CueVerb::kCapture);
    TakeFile();
    if (!words.HasFault() && !cue.file.ends_with(".png")) {
        words.Fault("the name of a still ends in .png, unlike '" + cue.file + "'");
    }
}

void CueReader::ReadAdd() {
    SetVerb(CueVerb::kAddScene);
    TakeWord("scene");
    TakeScene();
    if (!words.HasFault() && words.AreLeft()) {
        cue.description = words.Take("")->text;
    }
}

void CueReader::ReadSave() {
    SetVerb(CueVerb::kSaveScenes);
    if (words.TakeIf("scenes")) {
        TakeFile();
        return;
    }
    TakeWord("scene");
    TakeScene();
    TakeWord("to");
    TakeFile();
}

void CueReader::TakeWord(std::string_view word) {
    if (words.HasFault() || words.TakeIf(word)) {
        return;
    }
    const std::string quoted = "'" + std::string(word) + "'";
    if (const ScriptWord* other = words.Take(quoted)) {
        words.Fault(quoted + " is expected, not '" + other->text + "'");
    }
}

void CueReader::TakeScene() {
    const ScriptWord* word = words.HasFault() ? nullptr : words.Take("the name of a scene");
    if (word == nullptr) {
        return;
    }
    cue.scene = word->text;
    cue.scenePlace = words.PlaceOf(*word);
    if (cue.scene.empty()) {
        words.Fault("the name of a scene is empty");
    }
}

void CueReader::TakeFile() {
    const ScriptWord* word = words.HasFault() ? nullptr : words.Take("the name of a file");
    if (word == nullptr) {
        return;
    }
    cue.file = word->text;
    cue.filePlace = words.PlaceOf(*word);
    if (cue.file.empty()) {
        words.Fault("the name of a file is empty");
    }
}

void CueReader::TakeInput() {
    if (words.HasFault()) {
        return;
    }
    if (const auto number = TakeNumber("the number of an input, from 1")) {
        cue.input = *number;
    }
    cue.inputPlace = lastNumberPlace;
}

std::optional<int> CueReader::TakeNumber(std::string_view expected) {
    const ScriptWord* word = words.HasFault() ? nullptr : words.Take(expected);
    if (word == nullptr) {
        return std::nullopt;
    }
    lastNumberPlace = words.PlaceOf(*word);
    const std::optional<int> number = ParseInteger(word->text);
    if (!number || *number < 1) {
        words.Fault(std::string(expected) + " is expected, not '" + word->text + "'");
        return std::nullopt;
    }
    return number;
}

void CueReader::TakeOver() {
    if (words.HasFault() || !words.TakeIf("over")) {
        return;
    }
    const ScriptWord* word = words.Take("how long it takes, in seconds");
    if (word == nullptr) {
        return;
    }
    const auto take = ParseTime(word->text);
    if (!take) {
        words.Fault("how long it takes is told in seconds, not by '" + word->text + "'");
        return;
    }
    cue.span.take = *take;
}

}  // namespace

Script ParseScript(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (text.starts_with(kMark)) {
        text.remove_prefix(kMark.size());
    }
    Script script;
    std::int64_t lastTime = 0;
    bool hasEnded = false;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        ScriptWords words(text.substr(0, end), number, script.faults);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (words.IsEmpty() || words.HasFault()) {
            continue;
        }
        CueReader reader(words, lastTime);
        std::optional<Cue> cue = reader.Read();
        lastTime = reader.Time();
        if (!cue) {
            continue;
        }
        if (hasEnded) {
            script.faults.push_back({cue->place, "nothing happens after the end"});
            continue;
        }
        hasEnded = cue->verb == CueVerb::kEnd;
        script.cues.push_back(std::move(*cue));
    }
    return script;
}

}  // namespace qdvm::qdmix
