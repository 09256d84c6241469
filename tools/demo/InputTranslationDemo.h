#ifndef QuillmarshEngine_tools_demo_InputTranslationDemo_h
#define QuillmarshEngine_tools_demo_InputTranslationDemo_h

/* The demo's XR part: a rig whose head and two controllers follow device poses through the
   input manager, a label on the left controller and a script whose texts come from the
   translation manager, with a switch from English to German halfway through the run */

#include <cstdint>
#include <string>
#include <vector>

#include "QuillmarshEngine/Data/InputManager.h"
#include "QuillmarshEngine/Data/JavaScriptManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/TextManager.h"
#include "QuillmarshEngine/Data/TranslationManager.h"

class InputTranslationDemo {
    public:
        /* A scene of its own; the language switches at frame max(1, frames/2) */
        explicit InputTranslationDemo(std::uint32_t frames);

        /* One frame: new poses, the input update, the world transforms, and the language
           switch when its frame has come */
        void frame(std::uint32_t frame);

        /* Prints what happened and checks it; returns the number of failed checks */
        std::uint32_t report() const;

    private:
        void poses(std::uint32_t frame, QuillmarshEngine::DualQuaternion& head, QuillmarshEngine::DualQuaternion& left, QuillmarshEngine::DualQuaternion& right) const;

        std::uint32_t _switchFrame, _lastFrame{};
        QuillmarshEngine::Data::SceneGraph _graph;
        QuillmarshEngine::Data::InputManager _input;
        QuillmarshEngine::Data::TextManager _text;
        QuillmarshEngine::Data::JavaScriptManager _scripts;
        QuillmarshEngine::Data::TranslationManager _translations;
        QuillmarshEngine::Data::Id _rig, _head, _left, _right, _label, _labelText, _menu;
        std::vector<char> _german;
        std::string _error;
        std::string _before[3], _after[3];
};

#endif
