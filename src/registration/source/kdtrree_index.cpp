// The forest of four randomised kd-trees over 64-value integer descriptors: building, and the
// best-bin-first search of the two nearest points.
//
// Published sources: Silpa-Anan and Hartley, "Optimised KD-trees for fast image descriptor
// matching" (2008); Muja and Lowe, "Fast approximate nearest neighbors" (2009). Here everything is
// integer and the forest is the same for the same input.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "common/wrapping.h"
#include "memory/carver.h"
#include "memory/heap_buffer.h"
#include "registration/functions.h"
#include "registration/matching/multiply_with_carry.h"
#include "velmora_sr/logging.h"
#include "velmora_sr/matching.h"

namespace {

using velmora::HeapBuffer;
using velmora::kRandomSeed;
using velmora::nextRandom;
using velmora::registrationFunctions;

constexpr const char* kLogSource = "src/registration/source/kdtrree_index";

/// The cut is placed by this many points at most.
constexpr int32_t kSampleSize = 101;
/// Points compared per query at most.
constexpr int32_t kMaxChecks = 32;
/// Distance of a neighbour not found yet, and of a branch already taken.
constexpr int32_t kFar = INT32_MAX;

bool isLeaf(const ST_NODE& node) {
  return node.child1 == nullptr && node.child2 == nullptr;
}

/// A tree over c points takes 2 c - 1 nodes.
ptrdiff_t nodeCount(int32_t points) {
  return 2 * static_cast<ptrdiff_t>(points) - 1;
}

/// Builds the tree over a list in the 2 count - 1 nodes that start at `root`.
///
/// Nodes lie in pre-order, so the places of both children are known before either is built. That
/// lets the larger side be built by looping and only the smaller one by a call: the depth of calls
/// stays below 32 however lopsided the tree is.
void buildTree(ST_NODE* root, int32_t* indices, int32_t count, int32_t** points) {
  while (count > 1) {
    int32_t split = 0;
    MeanSplit(indices, count, &split, &root->divfeat, &root->divval, points);
    root->child1 = root + 1;
    root->child2 = root->child1 + nodeCount(split);
    if (split < count - split) {
      buildTree(root->child1, indices, split, points);
      root = root->child2;
      indices += split;
      count -= split;
    } else {
      buildTree(root->child2, indices + split, count - split, points);
      root = root->child1;
      count = split;
    }
  }
  *root = {indices[0], 0, nullptr, nullptr};
}

/// One pass of the partition: entries that belong in front come first. Returns how many they are.
template <typename BelongsInFront>
int32_t partitionPass(int32_t* indices, int32_t first, int32_t count, BelongsInFront inFront) {
  int32_t left = first;
  int32_t right = count - 1;
  for (;;) {
    while (left <= right && inFront(indices[left]))
      ++left;
    while (left <= right && !inFront(indices[right]))
      --right;
    if (left > right) return left;
    Swap(&indices[left++], &indices[right--]);
  }
}

/// Where to cut a partitioned list: as near to the middle as the equal values allow, and in the
/// middle when everything lies on one side.
int32_t splitPosition(int32_t count, int32_t below, int32_t belowOrEqual) {
  const int32_t middle = count / 2;
  if (below == count || belowOrEqual == 0) return middle;
  if (below > middle) return below;
  return std::min(belowOrEqual, middle);
}

/// The parts of the search scratch: the set of checked points and the list of branches.
struct SearchScratch {
  uint32_t* checked;
  ST_NODE** branchNodes;
  int32_t* branchDistances;

  static std::size_t checkedWords(std::size_t refCount) { return (refCount >> 5) + 1; }
  static std::size_t size(std::size_t refCount) {
    constexpr std::size_t kAlignmentSlack = 16;  // what the carver may skip
    return 2 * refCount * (sizeof(ST_NODE*) + sizeof(int32_t)) +
           sizeof(uint32_t) * checkedWords(refCount) + kAlignmentSlack;
  }
  SearchScratch(void* block, std::size_t refCount) {
    velmora::Carver carver(block);
    checked = carver.take<uint32_t>(checkedWords(refCount)).data();
    branchNodes = carver.take<ST_NODE*>(2 * refCount).data();
    branchDistances = carver.take<int32_t>(2 * refCount).data();
  }
};

/// Goes down to a leaf and notes the other branch at every node, unless it cannot hold anything
/// nearer than the second neighbour.
const ST_NODE& descend(tagSEARCHLEL_PARAMS& params, tagBranchStruct& branches) {
  while (!isLeaf(*params.node)) {
    const ST_NODE& node = *params.node;
    const int32_t difference = velmora::wrappingSub(params.query[node.divfeat], node.divval);
    const bool low = difference < 0;
    params.node = low ? node.child1 : node.child2;
    ST_NODE* other = low ? node.child2 : node.child1;

    // The bound is 128 times looser than what the dimension really adds to the distance (its
    // difference is squared and shifted by 16 there): few branches are cut off here, and the
    // number of comparisons is what limits the search.
    const int64_t square = static_cast<int64_t>(difference) * difference;
    const auto bound =
        static_cast<int32_t>(static_cast<uint32_t>(params.distance) +
                             static_cast<uint32_t>(static_cast<uint64_t>(square) >> 23));
    if (bound < params.distancePair[0] && branches.count < params.capacity) {
      branches.nodes[branches.count] = other;
      branches.distances[branches.count] = bound;
      ++branches.count;
    }
  }
  return *params.node;
}

}  // namespace

int32_t BuildKDTreeIndices(ST_IMAGEFEATURES* ref, ST_NODE** trees, unsigned char* nodePool) {
  const int32_t count = std::max(ref->count, 0);
  const HeapBuffer<int32_t*> points(static_cast<std::size_t>(count));
  const HeapBuffer<int32_t> indices(static_cast<std::size_t>(count));
  if (!points || !indices) {
    LogMsg(kLogSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return VELMORA_SR_RESULT_ALLOC_FAILED;
  }
  for (int32_t i = 0; i < count; ++i) {
    points.data()[i] = ref->descriptors + static_cast<ptrdiff_t>(i) * VELMORA_SR_DESCRIPTOR_LENGTH;
    indices.data()[i] = i;
  }
  BuildIndex(trees, indices.data(), count, points.data(), nodePool);
  return 0;
}

ST_NODE* BuildIndex(ST_NODE** trees, int32_t* indices, int32_t count, int32_t** points,
                    unsigned char* nodePool) {
  unsigned long long state = kRandomSeed;
  for (int32_t t = 0; t < VELMORA_SR_KD_TREES; ++t) {
    RandomShuffle(indices, count, &state);
    trees[t] = DivideTree(indices, count, points, &nodePool);
  }
  return trees[VELMORA_SR_KD_TREES - 1];
}

void RandomShuffle(int32_t* indices, int32_t count, unsigned long long* state) {
  for (int32_t i = 2; i <= count; ++i) {
    const uint32_t j = nextRandom(*state) % static_cast<uint32_t>(i);
    Swap(&indices[i - 1], &indices[j]);
  }
}

ST_NODE* DivideTree(int32_t* indices, int32_t count, int32_t** points, unsigned char** poolCursor) {
  if (count < 1) return nullptr;
  void* place = *poolCursor;
  auto* root = static_cast<ST_NODE*>(place);
  *poolCursor += nodeCount(count) * static_cast<ptrdiff_t>(sizeof(ST_NODE));
  buildTree(root, indices, count, points);
  return root;
}

void MeanSplit(int32_t* indices, int32_t count, int32_t* splitIndex, int32_t* cutDim,
               int32_t* cutValue, int32_t** points) {
  // The list is shuffled, so its front is a fair sample. 101 values within +-2^23 sum up to less
  // than 2^30; their reduced squares, below 2^24 each, to less than 2^31.
  const int32_t samples = std::min(count, kSampleSize);
  std::array<int32_t, VELMORA_SR_DESCRIPTOR_LENGTH> means;
  std::array<int32_t, VELMORA_SR_DESCRIPTOR_LENGTH> variances;
  const auto& table = registrationFunctions();
  table.descriptorSums(points, indices, samples, means.data());
  for (int32_t& mean : means)
    mean /= samples;
  table.descriptorSpreads(points, indices, samples, means.data(), variances.data());

  *cutDim = SelectDivision(variances.data());
  *cutValue = means[static_cast<std::size_t>(*cutDim)];
  int32_t below = 0;
  int32_t belowOrEqual = 0;
  PlaneSplit(indices, count, *cutDim, *cutValue, &below, &belowOrEqual, points);
  *splitIndex = splitPosition(count, below, belowOrEqual);
}

int32_t SelectDivision(int32_t* variances) {
  const int32_t* largest = std::max_element(variances, variances + VELMORA_SR_DESCRIPTOR_LENGTH);
  return static_cast<int32_t>(largest - variances);
}

void PlaneSplit(int32_t* indices, int32_t count, int32_t cutDim, int32_t cutValue, int32_t* lim1,
                int32_t* lim2, int32_t** points) {
  *lim1 = partitionPass(indices, 0, count,
                        [=](int32_t index) { return points[index][cutDim] < cutValue; });
  *lim2 = partitionPass(indices, *lim1, count,
                        [=](int32_t index) { return points[index][cutDim] <= cutValue; });
}

void Swap(int32_t* a, int32_t* b) {
  std::swap(*a, *b);
}

int32_t CalcDistance(int32_t* a, int32_t* b) {
  return registrationFunctions().descriptorDistance(a, b);
}

void AddPoint(int32_t* neighbourPair, int32_t* distancePair, int32_t distance, int32_t pointIndex) {
  if (distance >= distancePair[0]) return;
  int slot = 0;
  if (distance < distancePair[1]) {
    neighbourPair[0] = neighbourPair[1];
    distancePair[0] = distancePair[1];
    slot = 1;
  }
  neighbourPair[slot] = pointIndex;
  distancePair[slot] = distance;
}

void SearchLevel(tagSEARCHLEL_PARAMS* params, int32_t* checks, tagBranchStruct* branches) {
  const int32_t point = descend(*params, *branches).divfeat;
  uint32_t& word = params->checked[point >> 5];
  const uint32_t bit = 1u << (point & 31);
  if ((word & bit) != 0 || *checks >= kMaxChecks) return;
  word |= bit;
  ++*checks;
  const int32_t distance = CalcDistance(params->points[point], params->query);
  AddPoint(params->neighbourPair, params->distancePair, distance, point);
}

void FindNeighbors(int32_t* neighbourPair, int32_t* distancePair, int32_t* query, ST_NODE** trees,
                   int32_t refCount, int32_t** points, void* scratch) {
  if (refCount < 1) return;
  const auto references = static_cast<std::size_t>(refCount);
  const SearchScratch parts(scratch, references);
  std::fill_n(parts.checked, SearchScratch::checkedWords(references), 0u);
  tagBranchStruct branches = {parts.branchNodes, parts.branchDistances, 0};
  int32_t checks = 0;

  const auto searchFrom = [&](ST_NODE* node, int32_t distance) {
    tagSEARCHLEL_PARAMS params = {distance,     parts.checked, points, neighbourPair,
                                  distancePair, query,         node,   2 * refCount};
    SearchLevel(&params, &checks, &branches);
  };
  for (int32_t t = 0; t < VELMORA_SR_KD_TREES; ++t) {
    if (trees[t] != nullptr) searchFrom(trees[t], 0);
  }
  // Best bin first. Taken branches stay in the list, but at a distance that every other one beats.
  for (int32_t taken = 0; checks < kMaxChecks && taken < branches.count; ++taken) {
    const int32_t best = registrationFunctions().firstSmallest(branches.distances, branches.count);
    const int32_t distance = std::exchange(branches.distances[best], kFar);
    searchFrom(branches.nodes[best], distance);
  }
}

int32_t KnnSearch(int32_t* queryDescriptors, tagKNN_RESULT* result, int32_t queryCount,
                  ST_NODE** trees, uint32_t refCount, int32_t** points) {
  const HeapBuffer<unsigned char> scratch(SearchScratch::size(refCount));
  if (!scratch) {
    LogMsg(kLogSource, __LINE__, 0, "GETFEATURE_SURF: malloc failed!");
    return VELMORA_SR_RESULT_ALLOC_FAILED;
  }
  for (ptrdiff_t q = 0; q < queryCount; ++q) {
    int32_t* neighbourPair = result->neighbours + 2 * q;
    int32_t* distancePair = result->distances + 2 * q;
    std::fill_n(neighbourPair, 2, 0);
    std::fill_n(distancePair, 2, kFar);
    FindNeighbors(neighbourPair, distancePair, queryDescriptors + q * VELMORA_SR_DESCRIPTOR_LENGTH,
                  trees, static_cast<int32_t>(refCount), points, scratch.data());
  }
  return 0;
}
