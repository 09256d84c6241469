#include "QuillmarshEngine/Data/TextManager.h"

#include "QuillmarshEngine/Data/Implementation/StateStream.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, const TextAlignment value) {
    switch(value) {
        case TextAlignment::Left: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextAlignment", "Left");
        case TextAlignment::Center: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextAlignment", "Center");
        case TextAlignment::Right: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextAlignment", "Right");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "TextAlignment", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, const TextJustification value) {
    switch(value) {
        case TextJustification::Line: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextJustification", "Line");
        case TextJustification::Middle: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextJustification", "Middle");
        case TextJustification::Top: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextJustification", "Top");
        case TextJustification::Bottom: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextJustification", "Bottom");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "TextJustification", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, const TextEffect value) {
    switch(value) {
        case TextEffect::None: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextEffect", "None");
        case TextEffect::Outline: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextEffect", "Outline");
        case TextEffect::Shadow: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextEffect", "Shadow");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "TextEffect", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, const TextWrapMode value) {
    switch(value) {
        case TextWrapMode::None: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextWrapMode", "None");
        case TextWrapMode::Soft: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextWrapMode", "Soft");
        case TextWrapMode::Hard: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextWrapMode", "Hard");
        case TextWrapMode::Clip: return QuillmarshEngine::Implementation::printEnumValue(debug, "TextWrapMode", "Clip");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "TextWrapMode", std::uint8_t(value));
}

namespace {
    /* Column numbers of the layout */
    enum: std::size_t {
        Font = 1, Alignment, Justification, CharacterSpacing, LineSpacing, Effect, WrapMode, WrapWidth, Changed
    };
}

TextManager::TextManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    /* Zero is no valid enum value, so the defaults are set before the first slot is built */
    _layout.get<Alignment>().setDefaultValue(TextAlignment::Center);
    _layout.get<Justification>().setDefaultValue(TextJustification::Middle);
    _layout.get<LineSpacing>().setDefaultValue(1.2f);
    _layout.get<Effect>().setDefaultValue(TextEffect::None);
    _layout.get<WrapMode>().setDefaultValue(TextWrapMode::None);
    /* A new component has no glyphs built yet */
    _layout.get<Changed>().setDefaultValue(true);
    setLayout(&_layout);
    allocate(capacity);
}

TextManager::~TextManager() = default;

const char* TextManager::name() const { return "text"; }

void TextManager::doUpdate() {}

void TextManager::updateComponent(IndexType) {}

void TextManager::layerInit() {
    /* Texts are kept per id; growth only adds empty ones */
    if(_texts.size() < capacity()) _texts.resize(capacity());
}

void TextManager::layerCopy(const IndexType from, const IndexType to) {
    _texts[idOf(to)] = _texts[idOf(from)];
    /* The copy has no glyphs of its own yet */
    _layout.get<Changed>().view().set(to);
}

void TextManager::layerAppend(const TextManager& other) {
    const IndexType at = size();
    for(IndexType k = 0; k != other.size(); ++k) {
        _texts[idOf(IndexType(at + k))] = other._texts[other.idOf(k)];
        _layout.get<Changed>().view().set(at + k);
    }
}

void TextManager::layerDestroy(const IndexType index) {
    std::string{}.swap(_texts[idOf(index)]);
}

template<std::size_t column, class T> T TextManager::get(const Id component, const char* const function) const {
    return _layout.get<column>()[aliveIndex(component, function)];
}

template<std::size_t column, class T> void TextManager::set(const Id component, const T value, const char* const function) {
    const IndexType index = aliveIndex(component, function);
    T& slot = _layout.get<column>()[index];
    if(slot == value) return;
    slot = value;
    _layout.get<Changed>().view().set(index);
}

void TextManager::setText(const Id component, const std::string_view text) {
    const IndexType index = aliveIndex(component, "TextManager::setText()");
    std::string& slot = _texts[component];
    if(slot == text) return;
    /* A copy: the caller's view may point into a record that goes away */
    slot.assign(text.data(), text.size());
    _layout.get<Changed>().view().set(index);
}

std::string_view TextManager::text(const Id component) const {
    aliveIndex(component, "TextManager::text()");
    return _texts[component];
}

std::uint16_t TextManager::font(const Id component) const { return get<Font, std::uint16_t>(component, "TextManager::font()"); }
void TextManager::setFont(const Id component, const std::uint16_t font) { set<Font>(component, font, "TextManager::setFont()"); }

TextAlignment TextManager::alignment(const Id component) const { return get<Alignment, TextAlignment>(component, "TextManager::alignment()"); }
void TextManager::setAlignment(const Id component, const TextAlignment alignment) { set<Alignment>(component, alignment, "TextManager::setAlignment()"); }

TextJustification TextManager::justification(const Id component) const { return get<Justification, TextJustification>(component, "TextManager::justification()"); }
void TextManager::setJustification(const Id component, const TextJustification justification) { set<Justification>(component, justification, "TextManager::setJustification()"); }

float TextManager::characterSpacing(const Id component) const { return get<CharacterSpacing, float>(component, "TextManager::characterSpacing()"); }
void TextManager::setCharacterSpacing(const Id component, const float spacing) { set<CharacterSpacing>(component, spacing, "TextManager::setCharacterSpacing()"); }

float TextManager::lineSpacing(const Id component) const { return get<LineSpacing, float>(component, "TextManager::lineSpacing()"); }
void TextManager::setLineSpacing(const Id component, const float spacing) { set<LineSpacing>(component, spacing, "TextManager::setLineSpacing()"); }

TextEffect TextManager::effect(const Id component) const { return get<Effect, TextEffect>(component, "TextManager::effect()"); }
void TextManager::setEffect(const Id component, const TextEffect effect) { set<Effect>(component, effect, "TextManager::setEffect()"); }

TextWrapMode TextManager::wrapMode(const Id component) const { return get<WrapMode, TextWrapMode>(component, "TextManager::wrapMode()"); }
void TextManager::setWrapMode(const Id component, const TextWrapMode mode) { set<WrapMode>(component, mode, "TextManager::setWrapMode()"); }

float TextManager::wrapWidth(const Id component) const { return get<WrapWidth, float>(component, "TextManager::wrapWidth()"); }
void TextManager::setWrapWidth(const Id component, const float width) { set<WrapWidth>(component, width, "TextManager::setWrapWidth()"); }

bool TextManager::isChanged(const Id component) const {
    return _layout.get<Changed>().view()[aliveIndex(component, "TextManager::isChanged()")];
}

void TextManager::clearChanged() {
    _layout.get<Changed>().view().resetAll();
}

void TextManager::clearChanged(const Id component) {
    _layout.get<Changed>().view().reset(aliveIndex(component, "TextManager::clearChanged()"));
}


void TextManager::saveExternalState(std::vector<char>& out) const {
    Implementation::StateWriter writer{out};
    for(IndexType i = 0; i != size(); ++i) writer.putString(_texts[idOf(i)]);
}

std::string TextManager::loadExternalState(const std::span<const char> data) {
    std::vector<std::string> texts;
    if(!Implementation::readStrings(data, size(), texts)) return "texts do not fill the external state exactly";
    for(IndexType i = 0; i != size(); ++i) {
        _texts[idOf(i)] = std::move(texts[i]);
        _layout.get<Changed>().view().set(i);
    }
    return {};
}

}}
