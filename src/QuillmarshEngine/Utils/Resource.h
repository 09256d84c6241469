#ifndef QuillmarshEngine_Utils_Resource_h
#define QuillmarshEngine_Utils_Resource_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::Resource
 */

#include <cstddef>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Utils {

namespace Implementation {
    /* One compiled-in file and one group of them; the build generates the table of all groups
       (see cmake/QuillmarshResources.cmake) */
    struct ResourceFile {
        std::string_view name;
        std::string_view data;
    };
    struct ResourceGroup {
        std::string_view name;
        const ResourceFile* files;
        std::size_t fileCount;
    };
    extern const ResourceGroup ResourceGroups[];
    extern const std::size_t ResourceGroupCount;
}

/**
 * @brief Access to a group of files compiled into the library
 *
 * The build turns folders of files into groups, addressed by name, with files addressed by
 * their path relative to the folder; the library ships the group `QuillmarshEngineShaders`.
 * Contents are static: views stay valid for the life of the process, and each file is followed
 * by a zero byte. Constructing an access to a group that does not exist aborts; check with
 * @ref hasGroup() first. Thread-safe: nothing is ever written.
 */
class QUILLMARSH_EXPORT Resource {
    public:
        /** @brief Whether the group @p group exists */
        static bool hasGroup(std::string_view group);

        /**
         * @brief Access the group @p group
         *
         * Expects that the group exists.
         */
        explicit Resource(std::string_view group);

        /** @brief Group name */
        std::string_view group() const;

        /** @brief Names of the files of the group, sorted */
        std::vector<std::string_view> list() const;

        /** @brief Whether the group has a file named @p filename */
        bool hasFile(std::string_view filename) const;

        /** @brief Contents of @p filename, empty when the group has no such file */
        std::string_view getString(std::string_view filename) const;

    private:
        const Implementation::ResourceGroup* _group;
};

}}

#endif
