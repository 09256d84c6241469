#ifndef QuillmarshEngine_Utils_Path_h
#define QuillmarshEngine_Utils_Path_h

/** @file
 * @brief Namespace @ref QuillmarshEngine::Utils::Path: file-name manipulation and whole-file reads and writes
 *
 * Paths are plain strings with forward slashes. The string functions only look at the text and
 * never touch the file system; the file functions return a @ref Utils::Result whose error names
 * the path and the system's reason, and never abort.
 */

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Utils { namespace Path {

/**
 * @brief Join a directory and a file name
 *
 * Adds one slash between them unless @p path is empty or already ends with one. An absolute
 * @p filename (starting with a slash) is returned as it is.
 */
[[nodiscard]] QUILLMARSH_EXPORT std::string join(std::string_view path, std::string_view filename);

/**
 * @brief Split at the last slash into directory and file name
 *
 * `a/b/c.txt` gives `a/b` and `c.txt`; `c.txt` gives an empty directory; `/c` gives `/` and `c`;
 * `a/b/` gives `a/b` and an empty file name. Both are views into @p path.
 */
[[nodiscard]] QUILLMARSH_EXPORT std::pair<std::string_view, std::string_view> split(std::string_view path);

/** @brief The directory part of @ref split() */
[[nodiscard]] QUILLMARSH_EXPORT std::string_view directory(std::string_view path);

/** @brief The file-name part of @ref split() */
[[nodiscard]] QUILLMARSH_EXPORT std::string_view filename(std::string_view path);

/**
 * @brief Split off the extension of the file name
 *
 * `a/b.tar.gz` gives `a/b.tar` and `.gz`. A file name whose only dot is its first character
 * (`.config`) has no extension, nor does one without a dot; the extension is then empty. Both
 * are views into @p path.
 */
[[nodiscard]] QUILLMARSH_EXPORT std::pair<std::string_view, std::string_view> splitExtension(std::string_view path);

/** @brief Whether something exists at @p path */
[[nodiscard]] QUILLMARSH_EXPORT bool exists(const std::string& path);

/** @brief Whether @p path is a directory (following links) */
[[nodiscard]] QUILLMARSH_EXPORT bool isDirectory(const std::string& path);

/**
 * @brief Make a directory and any missing parents
 *
 * Succeeds when the directory exists already; fails with `can't make <path>: <reason>`.
 */
QUILLMARSH_EXPORT Utils::Result<void> make(const std::string& path);

/**
 * @brief Read a whole file
 *
 * The bytes are in a vector's storage, aligned for any type the asset readers need. Fails with
 * `can't open <path>: <reason>` or `can't read <path>: <reason>` (a directory fails to read).
 */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<std::vector<char>> read(const std::string& path);

/** @brief Read a whole file as text, failing like @ref read() */
[[nodiscard]] QUILLMARSH_EXPORT Utils::Result<std::string> readString(const std::string& path);

/**
 * @brief Write @p data to a file, replacing it
 *
 * Fails with `can't open <path>: <reason>` or `can't write <path>: <reason>`.
 */
QUILLMARSH_EXPORT Utils::Result<void> write(const std::string& path, std::span<const char> data);

/**
 * @brief Replace a file in one step
 *
 * Writes @p data to a temporary file next to @p path and renames it over @p path, so that a
 * failure midway leaves the old file as it was. Fails like @ref write(), or with
 * `can't replace <path>: <reason>`.
 */
QUILLMARSH_EXPORT Utils::Result<void> replace(const std::string& path, std::span<const char> data);

}}}

#endif
