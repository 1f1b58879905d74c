#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QUILT/Export.h"
#include "QUILT/RefPtr.h"
#include "QUILT/RenderTask.h"

/// Tasks that combine images. A factory is called on the thread that builds the graph; its task
/// renders on any number of threads. Where it makes several tasks, only the tiles of the one that
/// it returns are kept for later renders.
namespace QUILT
{

/// The input itself, as a task of its own: channels, data region and background colour are the
/// input's. A null input throws RenderTaskRenderingException.
QUILT_API ref_ptr<RenderTask> createCopyTask(const std::string& name, float time,
                                             ref_ptr<RenderTask> input);

/// first * (1 - mix) + second * mix, channel by channel.
///
/// Channels and data region are those of both together; where one has no data it counts with its
/// background colour; a channel that it lacks counts as 0 everywhere, unless it has no data at all.
/// The background colour is the mix of the two. At `mix` 0 or less, and for NaN, this is `first`
/// itself, at 1 or more `second`.
QUILT_API ref_ptr<RenderTask> createMixTask(const std::string& name, float time, float mix,
                                            ref_ptr<RenderTask> first, ref_ptr<RenderTask> second);

/// A mix by a matte: with w = alpha of the matte + `mix`, `first` where w is 0 or less, `second`
/// where it is 1 or more, first * (1 - w) + second * w between, channel by channel.
///
/// Where an image has no data its background colour counts. With w for the matte's background
/// colour: at 0 or less, the data region is that of `first` and, within the matte's, of `second`,
/// of which nothing is read elsewhere; at 1 or more the same with the two exchanged; between, it is
/// that of both. The matte so counts where one of the two has data: what it would make of two
/// different background colours beyond that is not seen. Channels are those of `first` and `second`
/// together.
///
/// \param mix  NaN counts as 0. From 1 on this is `second` itself, from -1 downwards `first`, which
///             comes before both where the two are one task
/// Other inputs must not be null.
QUILT_API ref_ptr<RenderTask> createMatteMixTask(const std::string& name, float time, float mix,
                                                 ref_ptr<RenderTask> first,
                                                 ref_ptr<RenderTask> second,
                                                 ref_ptr<RenderTask> matte);

/// A over B with weights that are curves of A's alpha: wA = curveA(alphaA), wB = curveB(alphaA).
/// Colours are A' wA + B (1 - wB), alpha is wA + alphaB (1 - wB). Without curves this is Over,
/// but for colours that A has where its alpha is 0.
///
/// \param pointsA, pointsB  the curves, as pairs x, y by growing x: linear between points, at the
///                          values of the ends outside; a last number without its pair does not
///                          count, and without points a weight is alpha itself
/// \param premultiplied     A' is A / alphaA, and 0 where alphaA is 0; otherwise it is A, whose
///                          colours are straight then
///
/// Data region and channels are those of both together; the alpha of A is read in any case. An
/// input that has no data in a tile counts as zero there, while in a tile that its data reaches
/// into it goes on with its background colour. So the result is free of seams between tiles only
/// when the background colours of both are zero. Inputs must not be null.
QUILT_API ref_ptr<RenderTask> createAddMixTask(const std::string& name, float time,
                                               const std::vector<float>& pointsA,
                                               const std::vector<float>& pointsB,
                                               ref_ptr<RenderTask> a, ref_ptr<RenderTask> b,
                                               bool premultiplied);

/// The input without NaN, which becomes 0, and without infinities, which become 0, or with
/// `keepInfinities` +-65504, the largest half. The background colour stays as it is, whatever it
/// holds. All channels of the input are read; `time` is part of the identity. The input must
/// not be null.
QUILT_API ref_ptr<RenderTask> createClearNansAndInfsTask(const std::string& name, float time,
                                                         ref_ptr<RenderTask> input,
                                                         bool keepInfinities);

/// An operator of two premultiplied images, A and B, as createCompositeTask takes them. A and B in
/// a formula are the values of one channel, alphaA and alphaB those of alpha; alpha itself follows
/// the same formula. The numbers are written to files; 8 stands for nothing.
enum CompositeOp : uint32_t
{
    COMPOSITEOP_Add = 0,         ///< A + B
    COMPOSITEOP_Atop = 1,        ///< A alphaB + B (1 - alphaA)
    COMPOSITEOP_Average = 2,     ///< (A + B) / 2
    COMPOSITEOP_Difference = 3,  ///< |A - B|
    COMPOSITEOP_Divide = 4,      ///< B / A, and B where A is 0
    COMPOSITEOP_Exclusion = 5,   ///< A + B - 2 A B
    COMPOSITEOP_SubtractAB = 6,  ///< A - B
    COMPOSITEOP_Geometric = 7,   ///< the square root of A B, 0 where that is negative
    COMPOSITEOP_Hypotenuse = 9,  ///< the square root of A^2 + B^2
    COMPOSITEOP_Max = 10,        ///< the larger; where one is NaN, the other
    COMPOSITEOP_OverPlain = 11,  ///< Over without its flag, whatever is given
    COMPOSITEOP_Min = 12,        ///< the smaller; where one is NaN, the other
    COMPOSITEOP_Multiply = 13,   ///< A B
    COMPOSITEOP_In = 14,         ///< B alphaA: what of B lies in A
    COMPOSITEOP_Out = 15,        ///< B (1 - alphaA): what of B lies outside A
    COMPOSITEOP_Over = 16,       ///< A + B (1 - alphaA)
    COMPOSITEOP_Under = 17,      ///< B + A (1 - alphaB)
    COMPOSITEOP_Screen = 18,     ///< A + B - A B
    COMPOSITEOP_SubtractBA = 19, ///< B - A
};

/// Combines two images by an operator.
///
/// Data region and channels are those of both together, with these exceptions. Over, Under and Atop
/// always have alpha. In and Out have the channels of `b`, and alpha. The data of a product, which
/// Multiply and In are, ends where a factor's data ends that is zero outside. Where an input has no
/// data it counts with its background colour. A channel that it lacks counts as 0, except that for
/// Over, Under, Atop, In and Out, and for an input that has no data at all, all channels of the
/// background colour count. The background colour is what the operator makes of the two.
///
/// Where an input has no data and its background colour is zero, Over, Under, Atop, In, Out, Add,
/// Exclusion, Multiply and Divide copy the other input or clear, instead of calculating. That gives
/// the same pixels but for the sign of zero, and where that other input holds infinities or NaN:
/// what becomes of these may then depend on how the picture is cut into tiles. The data of a
/// product ends as if the other factor were finite: where that one's background colour is not, the
/// product is NaN all around.
///
/// \param flagA         Max, Min: the one that is larger (smaller) in magnitude
/// \param flagB         Over, Under, Atop, In, Out: alpha as a weight is clamped to 0..1, and NaN
///                      is 0; Screen: the larger value where one of the two is outside 0..1
/// \param cleanupClamp  puts a createCleanupClampTask that keeps negative colours behind the
///                      operator, named `name` + ".clamp"
/// \param mix           1 or more: the plain operator; less: blended with `b` by createMixTask,
///                      named `name` + ".Mix"; 0 or less, and NaN: `b` itself
/// Throws RenderTaskRenderingException for a number that is no operator. Inputs must not be null.
QUILT_API ref_ptr<RenderTask> createCompositeTask(const std::string& name, float time,
                                                  CompositeOp op, bool flagA, bool flagB,
                                                  bool cleanupClamp, float mix,
                                                  ref_ptr<RenderTask> a, ref_ptr<RenderTask> b);

/// Merges any number of layers by depth.
///
/// Each layer is a premultiplied colour input with a depth input beside it. At each pixel the
/// layers are taken in the order of their depths, the smallest, which is the nearest, in front;
/// equal depths in the order given. From the front on, each is laid under what is there already by
/// A + B (1 - alphaA), until that has an alpha of 1 or more. A depth that is NaN counts as 0.
///
/// \param colorTasks    none of them null
/// \param depthTasks    as many, none of them null; a depth that has no data in a tile counts as 0
///                      there
/// \param depthChannel  the channels of the depth inputs that hold the depth, of which the lowest
///                      is read; for 0 all depths are 0
///
/// Channels and data region are those of all colour inputs together. A layer whose colour has no
/// data in a tile takes no part in that tile, while in one that its data reaches into, it and its
/// depth go on with their background colours. So the result is free of seams between tiles only
/// when the background colours of all inputs, colours and depths, are zero. The background colour
/// is the merge of the background colours that are not zero. Vectors of different lengths and null
/// tasks fail an assertion (UTIL::AssertException); without layers the result is zero everywhere.
QUILT_API ref_ptr<RenderTask> createZCompositeTask(
    const std::string& name, float time, const std::vector<ref_ptr<RenderTask>>& colorTasks,
    const std::vector<ref_ptr<RenderTask>>& depthTasks, unsigned long depthChannel);

/// From straight to premultiplied alpha: red, green and blue times alpha. Alpha stays.
///
/// \param alphaTask  whose alpha is meant, and becomes the result's; null, or `inputTask` itself:
///                   the image's own. Only such a task can be part of a chain of operations that
///                   run together.
///
/// Alpha is asked for in any case, and counts as 0 where there is none. The image's own: the result
/// always has red, green and blue. Another's: the result has alpha if either has it, all three
/// colours are asked for where one is wanted, and an input without data counts with its background
/// colour. The data region is that of `inputTask`, and the background colour goes through the
/// operation like a pixel.
///
/// Two null inputs throw RenderTaskRenderingException; a null `inputTask` with an `alphaTask`
/// throws UTIL::AssertException.
QUILT_API ref_ptr<RenderTask> createPremultiplyTask(const std::string& name, float time,
                                                    ref_ptr<RenderTask> inputTask,
                                                    ref_ptr<RenderTask> alphaTask);

/// From premultiplied to straight alpha: red, green and blue divided by alpha; where that is 0, all
/// four channels are 0. In all else like createPremultiplyTask.
QUILT_API ref_ptr<RenderTask> createUnpremultiplyTask(const std::string& name, float time,
                                                      ref_ptr<RenderTask> inputTask,
                                                      ref_ptr<RenderTask> alphaTask);

/// Combines any number of images by one operator, the last of them on top.
///
/// The list is folded into a balanced tree of createCompositeTask, A standing behind B in the list:
/// of i0, i1, i2, i3 it makes (i3 op i2) op (i1 op i0), of three (i2 op i1) op i0. The nodes are
/// named `name` + ".composite." + a number from 0. No input gives an image without data, one input
/// gives itself.
///
/// \param cleanupClamp  cleans up behind each node, and once more behind the last one as `name` +
///                      ".clamp"
QUILT_API ref_ptr<RenderTask>
createMultiCompositeTask(const std::string& name, float time, CompositeOp op, bool flagA,
                         bool flagB, bool cleanupClamp,
                         const std::vector<ref_ptr<RenderTask>>& inputs);

/// How mattes become one, channel by channel.
enum MatteCombinerOp : uint32_t
{
    MATTECOMBINER_First = 0,   ///< the first one alone
    MATTECOMBINER_Screen = 1,  ///< one minus the product of the inverted ones
    MATTECOMBINER_Multiply = 2 ///< the product
};

/// Combines any number of mattes, as a balanced tree of createCompositeTask.
///
/// One input gives itself. Null for an empty list, and for a number that is no operator.
QUILT_API ref_ptr<RenderTask>
createMatteCombinerTask(const std::string& name, float time, const MatteCombinerOp& op,
                        const std::vector<ref_ptr<RenderTask>>& inputs);

}
