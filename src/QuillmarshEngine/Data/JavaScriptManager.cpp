#include "QuillmarshEngine/Data/JavaScriptManager.h"

#include "QuillmarshEngine/Data/Implementation/StateStream.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, const ScriptParameterType value) {
    switch(value) {
        case ScriptParameterType::String: return QuillmarshEngine::Implementation::printEnumValue(debug, "ScriptParameterType", "String");
        case ScriptParameterType::Number: return QuillmarshEngine::Implementation::printEnumValue(debug, "ScriptParameterType", "Number");
        case ScriptParameterType::Bool: return QuillmarshEngine::Implementation::printEnumValue(debug, "ScriptParameterType", "Bool");
        case ScriptParameterType::Object: return QuillmarshEngine::Implementation::printEnumValue(debug, "ScriptParameterType", "Object");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "ScriptParameterType", std::uint8_t(value));
}

JavaScriptManager::JavaScriptManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    /* A new component's parameters have not been seen by the scripting engine yet */
    _layout.get<1>().setDefaultValue(true);
    setLayout(&_layout);
    allocate(capacity);
}

JavaScriptManager::~JavaScriptManager() = default;

const char* JavaScriptManager::name() const { return "js"; }

void JavaScriptManager::doUpdate() {}

void JavaScriptManager::updateComponent(IndexType) {}

void JavaScriptManager::layerInit() {
    /* Scripts are kept per id; growth only adds empty ones */
    if(_scripts.size() < capacity()) _scripts.resize(capacity());
}

void JavaScriptManager::layerCopy(const IndexType from, const IndexType to) {
    _scripts[idOf(to)] = _scripts[idOf(from)];
    _layout.get<1>().view().set(to);
}

void JavaScriptManager::layerAppend(const JavaScriptManager& other) {
    const IndexType at = size();
    for(IndexType k = 0; k != other.size(); ++k) {
        _scripts[idOf(IndexType(at + k))] = other._scripts[other.idOf(k)];
        _layout.get<1>().view().set(at + k);
    }
}

void JavaScriptManager::layerDestroy(const IndexType index) {
    /* Moving an empty script in releases the strings and the parameter list */
    _scripts[idOf(index)] = Script{};
}

const JavaScriptManager::Parameter& JavaScriptManager::checkedParameter(const Id component, const std::uint16_t parameter, const char* const function) const {
    aliveIndex(component, function);
    const std::vector<Parameter>& parameters = _scripts[component].parameters;
    QUILLMARSH_ASSERT(parameter < parameters.size(),
        function << Debug::nospace << ": parameter" << parameter << "out of range for" << parameters.size() << "parameters of component" << component, parameters.front());
    return parameters[parameter];
}

template<class T> const T& JavaScriptManager::typedParameter(const Id component, const std::uint16_t parameter, const ScriptParameterType type, const char* const function) const {
    const Parameter& p = checkedParameter(component, parameter, function);
    const T* value = std::get_if<T>(&p.value);
    QUILLMARSH_ASSERT(value,
        function << Debug::nospace << ": parameter" << parameter << "of component" << component << "is" << ScriptParameterType(p.value.index() + 1) << "and not" << type, *value);
    return *value;
}

std::uint16_t JavaScriptManager::setParameter(const Id component, const std::string_view name, Value&& value, const char* const function) {
    const IndexType index = aliveIndex(component, function);
    std::vector<Parameter>& parameters = _scripts[component].parameters;
    const std::int32_t found = findParameter(component, name);
    if(found >= 0) {
        Value& slot = parameters[std::size_t(found)].value;
        if(slot != value) {
            slot = std::move(value);
            _layout.get<1>().view().set(index);
        }
        return std::uint16_t(found);
    }
    QUILLMARSH_ASSERT(parameters.size() < 0xffff,
        function << Debug::nospace << ": component" << component << "already has 65535 parameters", {});
    parameters.push_back({std::string{name}, std::move(value)});
    _layout.get<1>().view().set(index);
    return std::uint16_t(parameters.size() - 1);
}

void JavaScriptManager::setScript(const Id component, const std::string_view type) {
    aliveIndex(component, "JavaScriptManager::setScript()");
    _scripts[component].type.assign(type.data(), type.size());
}

std::string_view JavaScriptManager::script(const Id component) const {
    aliveIndex(component, "JavaScriptManager::script()");
    return _scripts[component].type;
}

std::uint16_t JavaScriptManager::setStringParameter(const Id component, const std::string_view name, const std::string_view value) {
    return setParameter(component, name, Value{std::in_place_index<0>, value}, "JavaScriptManager::setStringParameter()");
}

std::uint16_t JavaScriptManager::setNumberParameter(const Id component, const std::string_view name, const double value) {
    return setParameter(component, name, Value{std::in_place_index<1>, value}, "JavaScriptManager::setNumberParameter()");
}

std::uint16_t JavaScriptManager::setBoolParameter(const Id component, const std::string_view name, const bool value) {
    return setParameter(component, name, Value{std::in_place_index<2>, value}, "JavaScriptManager::setBoolParameter()");
}

std::uint16_t JavaScriptManager::setObjectParameter(const Id component, const std::string_view name, const Id value) {
    return setParameter(component, name, Value{std::in_place_index<3>, value}, "JavaScriptManager::setObjectParameter()");
}

std::uint16_t JavaScriptManager::parameterCount(const Id component) const {
    aliveIndex(component, "JavaScriptManager::parameterCount()");
    return std::uint16_t(_scripts[component].parameters.size());
}

std::int32_t JavaScriptManager::findParameter(const Id component, const std::string_view name) const {
    aliveIndex(component, "JavaScriptManager::findParameter()");
    const std::vector<Parameter>& parameters = _scripts[component].parameters;
    for(std::size_t i = 0; i != parameters.size(); ++i)
        if(parameters[i].name == name) return std::int32_t(i);
    return -1;
}

std::string_view JavaScriptManager::parameterName(const Id component, const std::uint16_t parameter) const {
    return checkedParameter(component, parameter, "JavaScriptManager::parameterName()").name;
}

ScriptParameterType JavaScriptManager::parameterType(const Id component, const std::uint16_t parameter) const {
    return ScriptParameterType(checkedParameter(component, parameter, "JavaScriptManager::parameterType()").value.index() + 1);
}

std::string_view JavaScriptManager::stringParameter(const Id component, const std::uint16_t parameter) const {
    return typedParameter<std::string>(component, parameter, ScriptParameterType::String, "JavaScriptManager::stringParameter()");
}

double JavaScriptManager::numberParameter(const Id component, const std::uint16_t parameter) const {
    return typedParameter<double>(component, parameter, ScriptParameterType::Number, "JavaScriptManager::numberParameter()");
}

bool JavaScriptManager::boolParameter(const Id component, const std::uint16_t parameter) const {
    return typedParameter<bool>(component, parameter, ScriptParameterType::Bool, "JavaScriptManager::boolParameter()");
}

Id JavaScriptManager::objectParameter(const Id component, const std::uint16_t parameter) const {
    return typedParameter<Id>(component, parameter, ScriptParameterType::Object, "JavaScriptManager::objectParameter()");
}

bool JavaScriptManager::js_setComponentParamTranslation(const Id component, const std::uint16_t parameter, const std::string_view translation) {
    const IndexType index = aliveIndex(component, "JavaScriptManager::js_setComponentParamTranslation()");
    std::vector<Parameter>& parameters = _scripts[component].parameters;
    if(parameter >= parameters.size()) return false;
    std::string* const value = std::get_if<std::string>(&parameters[parameter].value);
    if(!value) return false;
    if(*value != translation) {
        /* A copy: the translation may point into a language record that is replaced later */
        value->assign(translation.data(), translation.size());
        _layout.get<1>().view().set(index);
    }
    return true;
}

bool JavaScriptManager::isChanged(const Id component) const {
    return _layout.get<1>().view()[aliveIndex(component, "JavaScriptManager::isChanged()")];
}

void JavaScriptManager::clearChanged() {
    _layout.get<1>().view().resetAll();
}

void JavaScriptManager::clearChanged(const Id component) {
    _layout.get<1>().view().reset(aliveIndex(component, "JavaScriptManager::clearChanged()"));
}


void JavaScriptManager::saveExternalState(std::vector<char>& out) const {
    Implementation::StateWriter writer{out};
    for(IndexType i = 0; i != size(); ++i) {
        const Script& script = _scripts[idOf(i)];
        writer.putString(script.type);
        writer.put(std::uint16_t(script.parameters.size()));
        for(const Parameter& parameter: script.parameters) {
            writer.putString(parameter.name);
            /* Types are the variant alternatives in ScriptParameterType order */
            writer.put(std::uint8_t(parameter.value.index() + 1));
            if(const std::string* s = std::get_if<std::string>(&parameter.value)) writer.putString(*s);
            else if(const double* d = std::get_if<double>(&parameter.value)) writer.put(*d);
            else if(const bool* b = std::get_if<bool>(&parameter.value)) writer.put(std::uint8_t(*b));
            else writer.put(std::get<Id>(parameter.value));
        }
    }
}

std::string JavaScriptManager::loadExternalState(const std::span<const char> data) {
    Implementation::StateReader reader{data};
    std::vector<Script> scripts(size());
    for(IndexType i = 0; i != size() && !reader.failed; ++i) {
        scripts[i].type = reader.getString();
        const std::uint16_t count = reader.get<std::uint16_t>();
        for(std::uint32_t p = 0; p != count && !reader.failed; ++p) {
            Parameter parameter;
            parameter.name = reader.getString();
            switch(reader.get<std::uint8_t>()) {
                case std::uint8_t(ScriptParameterType::String): parameter.value = reader.getString(); break;
                case std::uint8_t(ScriptParameterType::Number): parameter.value = reader.get<double>(); break;
                case std::uint8_t(ScriptParameterType::Bool): parameter.value = reader.get<std::uint8_t>() != 0; break;
                case std::uint8_t(ScriptParameterType::Object): parameter.value = reader.get<Id>(); break;
                default:
                    if(!reader.failed)
                        return "parameter " + std::to_string(p) + " of the script at " + std::to_string(i) + " has an unknown type";
            }
            scripts[i].parameters.push_back(std::move(parameter));
        }
    }
    if(!reader.finished()) return "scripts do not fill the external state exactly";
    for(IndexType i = 0; i != size(); ++i) _scripts[idOf(i)] = std::move(scripts[i]);
    return {};
}

}}
