#ifndef QuillmarshEngine_Data_JavaScriptManager_h
#define QuillmarshEngine_Data_JavaScriptManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::JavaScriptManager, enum @ref QuillmarshEngine::Data::ScriptParameterType
 */

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"

namespace QuillmarshEngine { namespace Data {

/** @brief Type of a script component parameter; values fixed */
enum class ScriptParameterType: std::uint8_t {
    String = 1,     /**< Text */
    Number = 2,     /**< 64-bit floating point number */
    Bool = 3,       /**< Truth value */
    Object = 4      /**< Id of a scene-graph object */
};

/** @brief Prints `ScriptParameterType::String` etc., other values as `ScriptParameterType(0x9)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ScriptParameterType value);

/**
 * @brief Script components: a script type and named parameters per component
 *
 * Holds the data of script components for a scripting engine that lives outside the library:
 * each component names its script type and carries an ordered list of named parameters of
 * @ref ScriptParameterType (string, number, bool, object id), addressed by index (at most 65535
 * per component) or found by name. A bit per component is set whenever a parameter value changes
 * (also through a translation), for the scripting host to read (@ref changedBits()) and clear
 * (@ref clearChanged()); new components start with the bit set.
 *
 * The block holds the owner and changed-bit columns; the script type and the parameters (names
 * and values, strings copied) live outside it, per component id. Copying a component copies
 * them; deleting it releases them.
 *
 * Components are addressed by id and must be alive, parameters by index within the component's
 * list and of the asked type; misuse aborts. @ref js_setComponentParamTranslation() is the
 * tolerant entry for data from files. The type name is "js"; nothing is done per frame. Not
 * thread-safe.
 */
class QUILLMARSH_EXPORT JavaScriptManager: public ComponentManager {
    public:
        /** @brief Manager with room for @p capacity components */
        explicit JavaScriptManager(IndexType capacity = 0);

        ~JavaScriptManager() override;

        /** @brief Append the script type and parameters of every live component, in index order */
        void saveExternalState(std::vector<char>& out) const override;

        /** @brief Restore what @ref saveExternalState() wrote; see @ref ComponentManager::loadExternalState() */
        [[nodiscard]] std::string loadExternalState(std::span<const char> data) override;

        /** @brief `"js"` */
        const char* name() const override;

        /** @brief Nothing to do per frame: the scripting engine runs the scripts */
        void doUpdate() override;

        /** @brief Nothing to do per frame */
        void updateComponent(IndexType index) override;

        /** @brief Set the script type of @p component to a copy of @p type */
        void setScript(Id component, std::string_view type);

        /** @brief Script type of @p component, empty by default */
        [[nodiscard]] std::string_view script(Id component) const;

        /**
         * @brief Set the string parameter @p name of @p component to a copy of @p value
         *
         * Replaces the value (and type) of the parameter of that name, or appends a new parameter.
         * Returns the parameter index. Sets the changed bit when the value or type differs.
         * Expects fewer than 65535 parameters when a new one is appended.
         */
        std::uint16_t setStringParameter(Id component, std::string_view name, std::string_view value);
        /** @brief Set a number parameter, see @ref setStringParameter() */
        std::uint16_t setNumberParameter(Id component, std::string_view name, double value);
        /** @brief Set a bool parameter, see @ref setStringParameter() */
        std::uint16_t setBoolParameter(Id component, std::string_view name, bool value);
        /** @brief Set an object id parameter, see @ref setStringParameter() */
        std::uint16_t setObjectParameter(Id component, std::string_view name, Id value);

        /** @brief Number of parameters of @p component */
        [[nodiscard]] std::uint16_t parameterCount(Id component) const;

        /** @brief Index of the parameter @p name of @p component, or -1 */
        [[nodiscard]] std::int32_t findParameter(Id component, std::string_view name) const;

        /** @brief Name of parameter @p parameter of @p component */
        [[nodiscard]] std::string_view parameterName(Id component, std::uint16_t parameter) const;

        /** @brief Type of parameter @p parameter of @p component */
        [[nodiscard]] ScriptParameterType parameterType(Id component, std::uint16_t parameter) const;

        /** @brief Value of a string parameter, null-terminated; expects that type */
        [[nodiscard]] std::string_view stringParameter(Id component, std::uint16_t parameter) const;
        /** @brief Value of a number parameter; expects that type */
        [[nodiscard]] double numberParameter(Id component, std::uint16_t parameter) const;
        /** @brief Value of a bool parameter; expects that type */
        [[nodiscard]] bool boolParameter(Id component, std::uint16_t parameter) const;
        /** @brief Value of an object id parameter; expects that type */
        [[nodiscard]] Id objectParameter(Id component, std::uint16_t parameter) const;

        /**
         * @brief Hand a translated string to parameter @p parameter of @p component
         *
         * Stores a copy of @p translation as the value of that string parameter and sets the
         * changed bit when it differs. Since links come from files, a parameter index past the
         * component's list or a parameter that is not a string is not an error: nothing changes
         * and false is returned. Expects a live @p component.
         */
        bool js_setComponentParamTranslation(Id component, std::uint16_t parameter, std::string_view translation);

        /** @brief Whether a parameter of @p component changed since its bit was last cleared */
        [[nodiscard]] bool isChanged(Id component) const;

        /** @brief Changed bits by index, capacity bits or more; invalidated by growth */
        [[nodiscard]] Utils::BitSetView changedBits() const { return _layout.get<1>().view(); }

        /** @brief Clear the changed bit of every component */
        void clearChanged();

        /** @brief Clear the changed bit of @p component */
        void clearChanged(Id component);

        /* Hooks of the owner pseudo-column, called by the layout */
        void layerInit();
        void layerCopy(IndexType from, IndexType to);
        void layerAppend(const JavaScriptManager& other);
        void layerDestroy(IndexType index);

    private:
        /* Alternatives in ScriptParameterType order */
        typedef std::variant<std::string, double, bool, Id> Value;

        struct Parameter {
            std::string name;
            Value value;
        };

        struct Script {
            std::string type;
            std::vector<Parameter> parameters;
        };

        const Parameter& checkedParameter(Id component, std::uint16_t parameter, const char* function) const;
        template<class T> const T& typedParameter(Id component, std::uint16_t parameter, ScriptParameterType type, const char* function) const;
        std::uint16_t setParameter(Id component, std::string_view name, Value&& value, const char* function);

        SparseArrayStaticLayout<
            SparseLayer<Id, SparseLayerFlag::ObjectId>,
            SparseLayer<bool>,
            SparseLayerOwner<JavaScriptManager>> _layout;
        /* Per component id, outside the block */
        std::vector<Script> _scripts;
};

}}

#endif
