#ifndef QuillmarshEngine_Math_Tags_h
#define QuillmarshEngine_Math_Tags_h

/** @file
 * @brief Construction tags @ref QuillmarshEngine::Math::ZeroInit, @ref QuillmarshEngine::Math::NoInit,
 *      @ref QuillmarshEngine::Math::IdentityInit
 */

namespace QuillmarshEngine { namespace Math {

/** @brief Tag type: construct with every component zero */
struct ZeroInitT { struct Init{}; constexpr explicit ZeroInitT(Init) {} };
/** @brief Tag type: leave the contents uninitialized, for storage that is overwritten next */
struct NoInitT { struct Init{}; constexpr explicit NoInitT(Init) {} };
/** @brief Tag type: construct the identity (matrices, quaternions, dual quaternions) */
struct IdentityInitT { struct Init{}; constexpr explicit IdentityInitT(Init) {} };

/** @brief Construct with every component zero */
constexpr ZeroInitT ZeroInit{ZeroInitT::Init{}};
/** @brief Leave the contents uninitialized */
constexpr NoInitT NoInit{NoInitT::Init{}};
/** @brief Construct the identity */
constexpr IdentityInitT IdentityInit{IdentityInitT::Init{}};

}}

#endif
