#ifndef QuillmarshEngine_Data_AssetRecords_h
#define QuillmarshEngine_Data_AssetRecords_h

/** @file
 * @brief Every record type of the asset format and its builder
 *
 * Each builder returns one record as an owned byte array, the payload of one chunk of the
 * matching @ref Magic, which the caller wraps with @ref AssetChunk::create() (the image tile
 * builder appends its chunk itself). Records are little-endian, new ones zero-filled, with
 * fixed-width zero-terminated name fields and a variable tail. Builders abort on misuse (a name
 * too long for its field, lists of different lengths); the views read records back and, like the
 * builders, trust their input: check untrusted files with @ref validateAssetData() first.
 *
 * The record families live in their own headers, which this one gathers: mesh records in
 * @ref MeshData.h, the rest in @ref ShaderData.h, @ref PipelineData.h (pipeline, draw, material),
 * @ref ImageData.h (image, image tile, texture, probe), @ref LanguageData.h, @ref LocaleData.h,
 * @ref SkinData.h, @ref PhysXData.h (PhysX, font), @ref AnimationData.h (animation and
 * animation targets) and @ref SignatureData.h.
 */

#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/ImageData.h"
#include "QuillmarshEngine/Data/LanguageData.h"
#include "QuillmarshEngine/Data/LocaleData.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Data/PhysXData.h"
#include "QuillmarshEngine/Data/PipelineData.h"
#include "QuillmarshEngine/Data/ShaderData.h"
#include "QuillmarshEngine/Data/SignatureData.h"
#include "QuillmarshEngine/Data/SkinData.h"

#endif
