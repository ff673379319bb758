// Matching: kd-tree forest, nearest neighbours with ratio test, RANSAC.
//
// The reference picture's descriptors are indexed once in a forest of four kd-trees
// (BuildKDTreeIndices); the other picture's descriptors are the queries (KnnMatcher), and
// FeatureMatcher turns what passes the ratio test into pairs of points that agree with one
// homography. The pieces are exported one by one.
//
// Common rules: pointers are not null and belong to the caller unless a line says otherwise, arrays
// do not overlap, nothing is kept after a call except the trees, which live in the caller's node
// pool and point into it. No function uses threads or shared state, so different data may be worked
// on by different threads at once. Descriptors are rows of VELMORA_SR_DESCRIPTOR_LENGTH signed
// values; all sums and products of them wrap to 32 bits. The same input gives the same trees,
// matches and inliers on every machine.
#ifndef VELMORA_SR_MATCHING_H
#define VELMORA_SR_MATCHING_H

#include <cstdint>

#include "velmora_sr/export.h"
#include "velmora_sr/features.h"

/// Trees per forest.
inline constexpr int32_t VELMORA_SR_KD_TREES = 4;

/// Node of a kd-tree: a leaf exactly when both children are null.
struct ST_NODE {
  int32_t divfeat;  ///< inner node: split dimension, 0..63; leaf: index of its one point
  int32_t divval;   ///< inner node: cut value in that dimension; leaf: not used
  ST_NODE* child1;  ///< the low side: values below the cut come first
  ST_NODE* child2;  ///< the high side
};

/// The two nearest reference points of every query; arrays of the caller, all sized by the number
/// of queries Q.
struct tagKNN_RESULT {
  int32_t* queries;     ///< Q entries; not touched by the search
  int32_t* neighbours;  ///< 2 Q entries: [2q + 1] the nearest point of query q, [2q] the second
  int32_t* distances;   ///< 2 Q entries in the same order; 0x7FFFFFFF where no point was found
  int32_t matchCount;   ///< not touched by the search
};

/// The matches that pass the ratio test; the same layout as tagKNN_RESULT.
struct tagMATCHESINFO {
  int32_t* queries;     ///< Q entries; the first matchCount hold the matches' query indices, rising
  int32_t* neighbours;  ///< 2 Q entries; the first matchCount hold their nearest reference points
  int32_t* distances;   ///< 2 Q entries, as the search left them
  int32_t matchCount;   ///< accepted matches
};

/// Branches not taken while descending, to be searched later in order of their distance.
struct tagBranchStruct {
  ST_NODE** nodes;     ///< one per branch
  int32_t* distances;  ///< lower bound of each branch, 0x7FFFFFFF once it has been taken
  int32_t count;       ///< branches in the list; taken ones stay in it
};

/// One descent into a tree.
struct tagSEARCHLEL_PARAMS {
  int32_t distance;        ///< bound accumulated by the branch that the descent starts from
  uint32_t* checked;       ///< bit set of the reference points already compared
  int32_t** points;        ///< descriptor of each reference point
  int32_t* neighbourPair;  ///< [1] the nearest point so far, [0] the second nearest
  int32_t* distancePair;   ///< their distances
  int32_t* query;          ///< the query's descriptor
  ST_NODE* node;           ///< where the descent starts, and during it the current node
  int32_t capacity;        ///< of the branch list: 2 N for N reference points
};

/// Corresponding points of two pictures: x, y pairs in pixels.
struct tagST_MATCH_PAIRS {
  float* refPoints;    ///< 2 * count values: points of the reference picture
  float* matchPoints;  ///< 2 * count values: the same points in the picture being registered
  int32_t count;       ///< correspondences
};

struct tagRANSAC_PARAMS {
  int32_t maxIters;  ///< first and largest number of iterations; below 1 none runs
  float threshold;   ///< largest squared reprojection error of an inlier, pixels squared
  float confidence;  ///< wanted probability of one sample without outliers, clamped to 0..1
};

// --- Building the trees ---

/// Indexes the descriptors of `ref` in a forest of four trees.
/// @param ref       count points with their descriptors; a count below 0 is taken as 0
/// @param trees     room for VELMORA_SR_KD_TREES roots, written; null roots for an empty set
/// @param nodePool  room for 4 * (2 * count - 1) ST_NODE, aligned for them. It holds the trees and
///                  must live as long as they are used; not touched, and may be null, for no points
/// @return 0, or -1000 when a working allocation fails (logged; trees untouched)
VELMORA_API int32_t BuildKDTreeIndices(ST_IMAGEFEATURES* ref, ST_NODE** trees,
                                       unsigned char* nodePool);

/// Builds the four trees over the points named by an index list.
/// @param trees     room for VELMORA_SR_KD_TREES roots, written
/// @param indices   the numbers 0..count-1 in any order; left in another order
/// @param count     number of points; below 1 all roots are null and nothing else is touched
/// @param points    count pointers to descriptors
/// @param nodePool  as in BuildKDTreeIndices
/// Every tree takes exactly 2 * count - 1 nodes from the pool, in pre-order, tree after tree; the
/// shuffle of each tree starts from the order that the one before it left.
/// @return the last root. Cannot fail
VELMORA_API ST_NODE* BuildIndex(ST_NODE** trees, int32_t* indices, int32_t count, int32_t** points,
                                unsigned char* nodePool);

/// Shuffles an index list (forward Fisher-Yates with a multiply-with-carry generator).
/// @param indices  count values, changed in place
/// @param count    number of values; below 2 nothing happens
/// @param state    the generator's state, advanced count - 1 times
VELMORA_API void RandomShuffle(int32_t* indices, int32_t count, unsigned long long* state);

/// Builds one tree over a list of points and reorders the list by its splits.
/// @param indices     count indices into points
/// @param count       number of indices; below 1 nothing is touched
/// @param points      descriptor of each point that the list names
/// @param poolCursor  where the tree's 2 * count - 1 nodes go, aligned for ST_NODE; moved behind
///                    them
/// @return the root, or null for a count below 1
VELMORA_API ST_NODE* DivideTree(int32_t* indices, int32_t count, int32_t** points,
                                unsigned char** poolCursor);

/// Chooses the split of a list of points and partitions the list by it.
/// @param indices     count indices into points, reordered
/// @param count       number of indices, at least 2
/// @param splitIndex  set to the number of entries of the low side, 1..count-1
/// @param cutDim      set to the dimension of largest variance among the first 101 points, 0..63
/// @param cutValue    set to the mean of these points in that dimension, cut toward zero
/// @param points      descriptor of each point that the list names
VELMORA_API void MeanSplit(int32_t* indices, int32_t count, int32_t* splitIndex, int32_t* cutDim,
                           int32_t* cutValue, int32_t** points);

/// Finds the dimension with the largest variance, the lowest one on ties.
/// @param variances  64 values, compared as signed numbers
/// @return 0..63
VELMORA_API int32_t SelectDivision(int32_t* variances);

/// Partitions a list in place: values below the cut, then equal to it, then above.
/// @param indices   count indices into points, reordered
/// @param count     number of indices; below 1 both limits become 0
/// @param cutDim    dimension that is compared, 0..63
/// @param cutValue  the cut, any value
/// @param lim1      set to the number of values below the cut
/// @param lim2      set to the number of those below or equal
/// @param points    descriptor of each point that the list names
VELMORA_API void PlaneSplit(int32_t* indices, int32_t count, int32_t cutDim, int32_t cutValue,
                            int32_t* lim1, int32_t* lim2, int32_t** points);

/// Exchanges two values; a and b may be the same.
VELMORA_API void Swap(int32_t* a, int32_t* b);

// --- Searching them ---

/// Distance of two descriptors: the sum of ((a - b) >> 8) squared, wrapped to 32 bits and signed.
/// @param a,b  64 values each; may be the same
/// @return 0 or more for descriptors of the length that the library gives them
VELMORA_API int32_t CalcDistance(int32_t* a, int32_t* b);

/// Enters a point into the two nearest of a query if it is nearer than the second.
/// @param neighbourPair  [1] the nearest point so far, [0] the second nearest; updated
/// @param distancePair   their distances, updated likewise
/// @param distance       of the new point; a tie leaves the earlier point in front
/// @param pointIndex     the new point
VELMORA_API void AddPoint(int32_t* neighbourPair, int32_t* distancePair, int32_t distance,
                          int32_t pointIndex);

/// Descends from params->node to a leaf, notes the branches passed by, compares the leaf's point.
/// @param params    see the record; its node, not null, is left at the leaf, its set and pairs are
///                  updated
/// @param checks    points compared for this query so far, updated. From 32 on, and for a point
///                  compared before, nothing is compared
/// @param branches  the list to note branches in; those beyond params->capacity are dropped
VELMORA_API void SearchLevel(tagSEARCHLEL_PARAMS* params, int32_t* checks,
                             tagBranchStruct* branches);

/// Finds the two nearest points of one query (approximately: at most 32 points are compared).
/// @param neighbourPair  the query's two entries, set to 0 by the caller; updated as in AddPoint
/// @param distancePair   the query's two distances, set to 0x7FFFFFFF by the caller; updated
/// @param query          64 values
/// @param trees          the four roots, built over the refCount points; a null root is an empty
///                       tree
/// @param refCount       number of points; below 1 nothing happens
/// @param points         refCount pointers to descriptors
/// @param scratch        aligned to 4 bytes, with room for
///                       2 * refCount * (sizeof(ST_NODE*) + 4) + 4 * (refCount / 32 + 1) + 16
VELMORA_API void FindNeighbors(int32_t* neighbourPair, int32_t* distancePair, int32_t* query,
                               ST_NODE** trees, int32_t refCount, int32_t** points, void* scratch);

/// Finds the two nearest points of every query.
/// @param queryDescriptors  queryCount rows of 64 values
/// @param result            neighbours and distances are written, the rest is not touched. Without
///                          points the neighbours are 0 and the distances 0x7FFFFFFF
/// @param queryCount        number of queries; below 1 nothing is written
/// @param trees             the four roots, built over the refCount points
/// @param refCount          number of points, below 2^31
/// @param points            refCount pointers to descriptors
/// @return 0, or -1000 when the scratch block cannot be allocated (logged; result untouched)
VELMORA_API int32_t KnnSearch(int32_t* queryDescriptors, tagKNN_RESULT* result, int32_t queryCount,
                              ST_NODE** trees, uint32_t refCount, int32_t** points);

/// Calls KnnSearch for one feature set in another.
/// @param query   the set that is looked up: descriptors and count
/// @param ref     the set on whose descriptors the trees were built
/// @param result  as in KnnSearch, for query->count queries
/// @param trees   the four roots
/// @return 0, or -1000 when an allocation fails (logged; result untouched)
VELMORA_API int32_t KnnMatch(ST_IMAGEFEATURES* query, ST_IMAGEFEATURES* ref, tagKNN_RESULT* result,
                             ST_NODE** trees);

/// Calls KnnMatch and applies the ratio test: a query is accepted when its nearest distance is
/// below ratio * ratio times the second. Distances are squared, hence the square of the ratio.
/// @param query    the set that is looked up
/// @param ref      the set on whose descriptors the trees were built; empty: no matches
/// @param trees    the four roots
/// @param matches  arrays sized by query->count, written; see the record
/// @param ratio    usually 0.4 or 0.45; smaller is stricter
/// Prints the counts to standard output.
/// @return 0, or -1000 as KnnMatch (matches untouched)
VELMORA_API int32_t KnnMatcher(ST_IMAGEFEATURES* query, ST_IMAGEFEATURES* ref, ST_NODE** trees,
                               tagMATCHESINFO* matches, float ratio);

// --- From matches to consistent pairs ---

/// Matches two feature sets and keeps the pairs that agree with one homography.
/// @param refFeatures    the reference picture, on whose descriptors the trees were built
/// @param matchFeatures  the picture being registered
/// @param trees          the four roots
/// @param pairs          arrays with room for matchFeatures->count points each, written, and their
///                       count; coordinates are rounded to whole pixels of the full-size picture
/// @param scale          factor by which the analysed pictures were reduced
/// @param ratio          bound of the ratio test
/// Prints its progress to standard output.
/// @return 0, also when RANSAC found no valid sample (the pairs are unfiltered then); 2 when fewer
///         than 5 matches pass the ratio test (pairs untouched); -1000 when an allocation fails
///         (logged; pairs untouched or unfiltered)
VELMORA_API int32_t FeatureMatcher(ST_IMAGEFEATURES* refFeatures, ST_IMAGEFEATURES* matchFeatures,
                                   ST_NODE** trees, tagST_MATCH_PAIRS* pairs, int32_t scale,
                                   float ratio);

/// Finds the homography that most pairs agree with, from samples of four, and drops the others.
/// @param pairs       compacted in place to the inliers, in their order. When no model has more
///                    than four inliers, the first four pairs (all, if there are fewer) remain
/// @param homography  9 values, row-major, reference to registered picture, last value 1; written
///                    only when a model with more than four inliers is found
/// @param params      see the record. The sample draws are the same in every call
/// @param scratch     80 * pairs->count bytes
/// A sample's pairs must lie at least sqrt(20000) pixels apart, compared across the pictures (the
/// point of one against the registered point of the other), which assumes that the two roughly
/// overlap, and no three of its points may be collinear. Prints the iterations and inliers to
/// standard output.
/// @return 0, or -1 when 100 draws in a row give no valid sample (pairs untouched)
VELMORA_API int32_t RansacEstimation(tagST_MATCH_PAIRS* pairs, float* homography,
                                     tagRANSAC_PARAMS* params, unsigned char* scratch);

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(ST_NODE) == 16);
static_assert(sizeof(tagKNN_RESULT) == 16);
static_assert(sizeof(tagMATCHESINFO) == 16);
static_assert(sizeof(tagBranchStruct) == 12);
static_assert(sizeof(tagSEARCHLEL_PARAMS) == 32);
static_assert(sizeof(tagST_MATCH_PAIRS) == 12);
static_assert(sizeof(tagRANSAC_PARAMS) == 12);
#endif

#endif  // VELMORA_SR_MATCHING_H
