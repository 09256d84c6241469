#include "InputTranslationDemo.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"
#include "QuillmarshEngine/StringArray.h"

using namespace QuillmarshEngine;

namespace {

/* The label hangs 10 cm above the left controller */
const DualQuaternion LabelOffset = DualQuaternion::translation(Vector3{0.0f, 0.1f, 0.0f});
/* The rig stands 2 m back and faces the other way */
const DualQuaternion RigPlacement = DualQuaternion::from(Quaternion::rotation(3.1415927f, Vector3{0.0f, 1.0f, 0.0f}), Vector3{0.0f, 0.0f, 2.0f});

/* Records as an asset file would hold them, read back through the validating readers */
std::vector<char> languageRecord(const char* name, const char* code, std::initializer_list<std::string_view> strings) {
    const StringArray array(strings);
    return Data::createLanguageData(name, code, std::uint32_t(array.size()/2), array.view());
}

}

InputTranslationDemo::InputTranslationDemo(const std::uint32_t frames): _switchFrame{std::max<std::uint32_t>(1, frames/2)}, _graph{8, 3, 8}, _input{4}, _text{2}, _scripts{2} {
    _graph.setComponentManager(0, "input", &_input);
    _graph.setComponentManager(1, "text", &_text);
    _graph.setComponentManager(2, "js", &_scripts);
    _rig = _graph.addObject(Data::Id{0});
    _graph.setLocalTransformation(_graph.indexOf(_rig), RigPlacement);
    const std::pair<Data::Id*, Data::InputType> tracked[]{
        {&_head, Data::InputType::Head}, {&_left, Data::InputType::ControllerLeft}, {&_right, Data::InputType::ControllerRight}};
    for(const auto& [object, type]: tracked) {
        *object = _graph.addObject(_rig);
        const Data::Id component = _input.addComponent(*object);
        _input.setInputType(_input.indexOf(component), type);
        _input.activate(_input.indexOf(component));
    }
    _label = _graph.addObject(_left);
    _graph.setLocalTransformation(_graph.indexOf(_label), LabelOffset);
    _labelText = _text.addComponent(_label);
    _text.setAlignment(_labelText, Data::TextAlignment::Left);
    _text.activate(_text.indexOf(_labelText));
    _menu = _scripts.addComponent(_rig);
    _scripts.setScript(_menu, "main-menu");
    _scripts.setNumberParameter(_menu, "fadeSeconds", 0.5);
    _scripts.setStringParameter(_menu, "title", "");
    _scripts.activate(_scripts.indexOf(_menu));
    _graph.activate();
    /* The placement of the rig reaches world space once; from then on only posed subtrees move */
    _graph.setDirty(0);
    _graph.computeAbsoluteTransformations();

    /* The label shows "greeting", the menu script's title parameter (index 1) "menu.title" */
    const Data::LocaleLinkHeader links[]{
        {_labelText, Data::TranslationLink::Text, 0}, {_menu, Data::TranslationLink::Script, 1}};
    const std::string_view terms[]{"greeting", "menu.title"};
    const std::vector<char> locale = Data::createLocaleData({}, {}, terms, links);
    const Utils::Result<Data::LocaleData> readLocale = Data::readLocaleData(locale);
    if(!readLocale) {
        _error = "locale record refused: " + readLocale.error();
        return;
    }
    _translations.loadTermLinks(*readLocale);

    const Utils::Result<std::uint32_t> english = _translations.loadLanguageData(languageRecord("English", "en",
        {"greeting", "Welcome aboard", "menu.title", "Main menu", "farewell", "Safe travels"}));
    if(!english) {
        _error = "English record refused: " + english.error();
        return;
    }
    _translations.applyTranslations(_text, _scripts);
    /* The German record lacks the menu title, which then shows as its term */
    _german = languageRecord("Deutsch", "de", {"greeting", "Willkommen an Bord", "farewell", "Gute Reise"});
}

void InputTranslationDemo::poses(const std::uint32_t frame, DualQuaternion& head, DualQuaternion& left, DualQuaternion& right) const {
    const float t = float(frame)/60.0f;
    head = DualQuaternion::from(Quaternion::rotation(0.4f*std::sin(t), Vector3{0.0f, 1.0f, 0.0f}),
        Vector3{0.05f*std::sin(0.5f*t), 1.7f + 0.02f*std::sin(2.0f*t), 0.0f});
    left = DualQuaternion::from(Quaternion::rotation(0.8f*std::sin(1.3f*t), Vector3{1.0f, 0.0f, 0.0f}),
        Vector3{-0.3f, 1.2f + 0.1f*std::sin(t), -0.4f});
    right = DualQuaternion::from(Quaternion::rotation(0.6f*std::cos(0.7f*t), Vector3{0.0f, 0.0f, 1.0f}),
        Vector3{0.3f, 1.2f + 0.1f*std::cos(t), -0.4f});
}

void InputTranslationDemo::frame(const std::uint32_t frame) {
    if(!_error.empty()) return;
    /* What an XR runtime layer does each frame: hand the tracked poses to the input manager */
    DualQuaternion head, left, right;
    poses(frame, head, left, right);
    _input.setPose(Data::InputType::Head, head);
    _input.setPose(Data::InputType::ControllerLeft, left);
    _input.setPose(Data::InputType::ControllerRight, right);
    _input.update(1.0/60.0);
    _graph.computeAbsoluteTransformations();
    _lastFrame = frame;

    if(frame == _switchFrame) {
        _before[0] = _translations.languageName();
        _before[1] = _text.text(_labelText);
        _before[2] = _scripts.stringParameter(_menu, 1);
        const Utils::Result<std::uint32_t> german = _translations.loadLanguageData(std::move(_german));
        if(!german) {
            _error = "German record refused: " + german.error();
            return;
        }
        _translations.applyTranslations(_text, _scripts);
        _after[0] = _translations.languageName();
        _after[1] = _text.text(_labelText);
        _after[2] = _scripts.stringParameter(_menu, 1);
    }
}

std::uint32_t InputTranslationDemo::report() const {
    if(!_error.empty()) {
        std::printf("  XR rig:     %s\n", _error.c_str());
        return 1;
    }
    std::uint32_t failed = 0;
    /* The world positions the sweep gave against the rig placement times the last poses */
    DualQuaternion head, left, right;
    poses(_lastFrame, head, left, right);
    const std::pair<const char*, std::pair<Data::Id, DualQuaternion>> checks[]{
        {"head", {_head, RigPlacement*head}},
        {"right controller", {_right, RigPlacement*right}},
        {"label on the left controller", {_label, RigPlacement*left*LabelOffset}}};
    std::printf("  XR rig:     head and two controllers posed through the input manager for %u frames\n", _lastFrame);
    for(const auto& [what, check]: checks) {
        const Vector3 actual = _graph.worldTransformation(_graph.indexOf(check.first)).translation();
        const Vector3 expected = check.second.translation();
        float error = 0.0f;
        for(int k = 0; k != 3; ++k) error = std::max(error, std::abs(actual[k] - expected[k]));
        const bool ok = error < 1.0e-5f;
        failed += !ok;
        std::printf("              %-28s world position (%6.3f, %6.3f, %6.3f)  %s\n", what,
            double(actual[0]), double(actual[1]), double(actual[2]), ok ? "ok" : "MISMATCH");
    }

    /* The label and the menu title before and after the switch; the German record has no
       menu title, so the term itself shows */
    const bool switched = !_after[0].empty();
    const bool ok = switched && _before[1] == "Welcome aboard" && _before[2] == "Main menu" &&
        _after[1] == "Willkommen an Bord" && _after[2] == "menu.title" &&
        _translations.translate("menu.title") == "menu.title";
    failed += !ok;
    std::printf("  language:   %s -> %s at frame %u  %s\n", _before[0].c_str(), _after[0].c_str(), _switchFrame, ok ? "ok" : "MISMATCH");
    std::printf("              label       \"%s\" -> \"%s\"\n", _before[1].c_str(), _after[1].c_str());
    std::printf("              menu title  \"%s\" -> \"%s\" (not in %s, shown as its term)\n", _before[2].c_str(), _after[2].c_str(), _after[0].c_str());
    return failed;
}
