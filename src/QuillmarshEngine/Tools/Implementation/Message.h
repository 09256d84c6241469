#ifndef QuillmarshEngine_Tools_Implementation_Message_h
#define QuillmarshEngine_Tools_Implementation_Message_h

/* Error texts of the tools' results, written like the Debug stream writes its values */

#include <sstream>
#include <string>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

/* The values separated by spaces, as one Debug statement prints them, without the newline */
template<class... T> std::string message(const T&... values) {
    std::ostringstream out;
    {
        Debug d{&out, Debug::Flag::NoNewlineAtTheEnd};
        (d << ... << values);
    }
    return out.str();
}

}}}

#endif
