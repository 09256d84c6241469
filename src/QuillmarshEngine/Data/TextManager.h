#ifndef QuillmarshEngine_Data_TextManager_h
#define QuillmarshEngine_Data_TextManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::TextManager, enums @ref QuillmarshEngine::Data::TextAlignment,
 *      @ref QuillmarshEngine::Data::TextJustification, @ref QuillmarshEngine::Data::TextEffect,
 *      @ref QuillmarshEngine::Data::TextWrapMode
 */

#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"

namespace QuillmarshEngine { namespace Data {

/** @brief Horizontal placement of the lines of a text; stored as one byte, values fixed */
enum class TextAlignment: std::uint8_t {
    Left = 1,           /**< Lines start at the origin */
    Center = 2,         /**< Lines are centered on the origin */
    Right = 3           /**< Lines end at the origin */
};

/** @brief Vertical placement of a text; stored as one byte, values fixed */
enum class TextJustification: std::uint8_t {
    Line = 1,           /**< The first line's baseline lies at the origin */
    Middle = 2,         /**< The block of lines is centered on the origin */
    Top = 3,            /**< The top of the first line lies at the origin */
    Bottom = 4          /**< The bottom of the last line lies at the origin */
};

/** @brief Effect drawn with the glyphs; stored as one byte, values fixed */
enum class TextEffect: std::uint8_t {
    None = 1,           /**< Glyphs only */
    Outline = 2,        /**< Glyphs with an outline */
    Shadow = 3          /**< Glyphs with a drop shadow */
};

/** @brief How lines longer than the wrap width are handled; stored as one byte, values fixed */
enum class TextWrapMode: std::uint8_t {
    None = 1,           /**< Lines break only at line feeds; the wrap width is ignored */
    Soft = 2,           /**< Lines break between words to fit the wrap width */
    Hard = 3,           /**< Lines break anywhere to fit the wrap width */
    Clip = 4            /**< Lines are cut at the wrap width */
};

/** @brief Prints `TextAlignment::Left` etc., other values as `TextAlignment(0x9)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, TextAlignment value);
/** @brief Prints `TextJustification::Line` etc., other values as `TextJustification(0x9)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, TextJustification value);
/** @brief Prints `TextEffect::None` etc., other values as `TextEffect(0x9)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, TextEffect value);
/** @brief Prints `TextWrapMode::None` etc., other values as `TextWrapMode(0x9)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, TextWrapMode value);

/**
 * @brief Text components: a string and its layout parameters per component
 *
 * Holds what a text renderer needs to lay out and draw a text; glyph layout itself is the
 * renderer's. The layout parameters are plain columns of the block (font index, alignment,
 * justification, character and line spacing, effect, wrap mode and width), with a bit per
 * component that is set whenever the component's text or a parameter changes and that the
 * renderer reads (@ref changedBits()) and clears (@ref clearChanged()) after rebuilding. New
 * components start with an empty text, the defaults below and the bit set.
 *
 * Each component keeps its own copy of its text, outside the block, per component id: a view
 * passed to @ref setText() (for example into a language record that is replaced later) is never
 * kept. Copying a component copies its text; deleting it releases the text.
 *
 * Components are addressed by id; the column views are by index. Setters and getters expect a
 * live component and abort otherwise. The type name is "text"; nothing is done per frame. Not
 * thread-safe.
 */
class QUILLMARSH_EXPORT TextManager: public ComponentManager {
    public:
        /** @brief Manager with room for @p capacity components */
        explicit TextManager(IndexType capacity = 0);

        ~TextManager() override;

        /** @brief Append the text of every live component, in index order */
        void saveExternalState(std::vector<char>& out) const override;

        /** @brief Restore what @ref saveExternalState() wrote; see @ref ComponentManager::loadExternalState() */
        [[nodiscard]] std::string loadExternalState(std::span<const char> data) override;

        /** @brief `"text"` */
        const char* name() const override;

        /** @brief Nothing to do per frame: the update loop is skipped entirely */
        void doUpdate() override;

        /** @brief Nothing to do per frame */
        void updateComponent(IndexType index) override;

        /**
         * @brief Set the text of @p component to a copy of @p text
         *
         * Sets the changed bit when the text differs from the current one.
         */
        void setText(Id component, std::string_view text);

        /** @brief Text of @p component, null-terminated; valid until it is set again or deleted */
        [[nodiscard]] std::string_view text(Id component) const;

        /** @brief Font index of @p component, 0 by default */
        [[nodiscard]] std::uint16_t font(Id component) const;
        /** @brief Set the font index; sets the changed bit when it differs */
        void setFont(Id component, std::uint16_t font);

        /** @brief Alignment of @p component, @ref TextAlignment::Center by default */
        [[nodiscard]] TextAlignment alignment(Id component) const;
        /** @brief Set the alignment; sets the changed bit when it differs */
        void setAlignment(Id component, TextAlignment alignment);

        /** @brief Justification of @p component, @ref TextJustification::Middle by default */
        [[nodiscard]] TextJustification justification(Id component) const;
        /** @brief Set the justification; sets the changed bit when it differs */
        void setJustification(Id component, TextJustification justification);

        /** @brief Extra space between characters in em, 0 by default */
        [[nodiscard]] float characterSpacing(Id component) const;
        /** @brief Set the character spacing; sets the changed bit when it differs */
        void setCharacterSpacing(Id component, float spacing);

        /** @brief Distance between baselines in em, 1.2 by default */
        [[nodiscard]] float lineSpacing(Id component) const;
        /** @brief Set the line spacing; sets the changed bit when it differs */
        void setLineSpacing(Id component, float spacing);

        /** @brief Effect of @p component, @ref TextEffect::None by default */
        [[nodiscard]] TextEffect effect(Id component) const;
        /** @brief Set the effect; sets the changed bit when it differs */
        void setEffect(Id component, TextEffect effect);

        /** @brief Wrap mode of @p component, @ref TextWrapMode::None by default */
        [[nodiscard]] TextWrapMode wrapMode(Id component) const;
        /** @brief Set the wrap mode; sets the changed bit when it differs */
        void setWrapMode(Id component, TextWrapMode mode);

        /** @brief Wrap width in object units, 0 by default */
        [[nodiscard]] float wrapWidth(Id component) const;
        /** @brief Set the wrap width; sets the changed bit when it differs */
        void setWrapWidth(Id component, float width);

        /** @brief Whether @p component changed since its bit was last cleared */
        [[nodiscard]] bool isChanged(Id component) const;

        /** @brief Changed bits by index, capacity bits or more; invalidated by growth */
        [[nodiscard]] Utils::BitSetView changedBits() const { return _layout.get<9>().view(); }

        /** @brief Clear the changed bit of every component */
        void clearChanged();

        /** @brief Clear the changed bit of @p component */
        void clearChanged(Id component);

        /** @brief Font column, capacity entries; invalidated by growth */
        std::span<const std::uint16_t> fonts() const { return _layout.get<1>().view(); }
        /** @brief Alignment column, capacity entries; invalidated by growth */
        std::span<const TextAlignment> alignments() const { return _layout.get<2>().view(); }
        /** @brief Justification column, capacity entries; invalidated by growth */
        std::span<const TextJustification> justifications() const { return _layout.get<3>().view(); }
        /** @brief Character spacing column, capacity entries; invalidated by growth */
        std::span<const float> characterSpacings() const { return _layout.get<4>().view(); }
        /** @brief Line spacing column, capacity entries; invalidated by growth */
        std::span<const float> lineSpacings() const { return _layout.get<5>().view(); }
        /** @brief Effect column, capacity entries; invalidated by growth */
        std::span<const TextEffect> effects() const { return _layout.get<6>().view(); }
        /** @brief Wrap mode column, capacity entries; invalidated by growth */
        std::span<const TextWrapMode> wrapModes() const { return _layout.get<7>().view(); }
        /** @brief Wrap width column, capacity entries; invalidated by growth */
        std::span<const float> wrapWidths() const { return _layout.get<8>().view(); }

        /** @brief Text of the component at @p index; not checked */
        std::string_view textAt(IndexType index) const { return _texts[idOf(index)]; }

        /* Hooks of the owner pseudo-column, called by the layout */
        void layerInit();
        void layerCopy(IndexType from, IndexType to);
        void layerAppend(const TextManager& other);
        void layerDestroy(IndexType index);

    private:
        template<std::size_t column, class T> T get(Id component, const char* function) const;
        template<std::size_t column, class T> void set(Id component, T value, const char* function);

        SparseArrayStaticLayout<
            SparseLayer<Id, SparseLayerFlag::ObjectId>,
            SparseLayer<std::uint16_t>,
            SparseLayer<TextAlignment>,
            SparseLayer<TextJustification>,
            SparseLayer<float>,
            SparseLayer<float>,
            SparseLayer<TextEffect>,
            SparseLayer<TextWrapMode>,
            SparseLayer<float>,
            SparseLayer<bool>,
            SparseLayerOwner<TextManager>> _layout;
        /* Per component id, outside the block */
        std::vector<std::string> _texts;
};

}}

#endif
