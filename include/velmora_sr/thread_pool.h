// The process-wide pool of sixteen worker threads with fixed slots.
//
// There is no queue: a caller addresses a slot by its number, 0 to 15, hands it one job and waits
// for that slot. Every slot has a token; who holds it owns the slot. Work on a group of slots
// follows one protocol:
//
//   1. MultiThread_wait on each slot of the group: takes the tokens
//   2. MultiThread_set, then MultiThread_post, for each slot: its worker runs the job
//   3. the caller runs its own share of the work
//   4. MultiThread_clean on each slot: waits for the job, empties the slot, gives the token back
//
// What was written before MultiThread_post is visible to the job, and what the job wrote is visible
// after MultiThread_clean. Threads that work at the same time must use disjoint slots. No thread is
// created and no memory allocated per job.
//
// Slots without a worker (the pool is not running, or failed to start) never block: waiting and
// cleaning return at once and posting runs the job on the caller, so the protocol gives the same
// results without a pool.
//
// A job reports failure through its argument; an exception that leaves it is dropped, and the slot
// counts as done. (A share of the library's own stages that throws fails its stage: the exception
// is thrown on by the function that runs the stage, and ends the process call.)
//
// A worker has a stack of 256 KB, thread-local variables included, and begins each job in the
// default floating-point environment.
//
// The child of a fork() has no workers. Its slots are free, and jobs run on the caller until the
// users that it inherited have left; the next MultiThread_Init then starts workers of its own.
#ifndef VELMORA_SR_THREAD_POOL_H
#define VELMORA_SR_THREAD_POOL_H

#include <cstdint>

#include "velmora_sr/export.h"

/// Number of slots, and of worker threads of a running pool.
inline constexpr int32_t VELMORA_SR_THREAD_SLOTS = 16;

/// A job: its argument, and the number of the slot that runs it (or the caller's own index), from
/// which it chooses its share of the work.
using SR_ThreadJob = void (*)(void* arg, int32_t index);

/// Adds one user of the pool; the first one starts the sixteen workers. Prints a progress line to
/// standard output, without a line feed.
/// @param n  not used: there are always sixteen workers
/// @return 0, or -1 if the workers could not be started. The user counts all the same and owes one
///         MultiThread_destory; until the last one has made it, later users find the pool as it is.
/// Not while another thread is in MultiThread_Init, in MultiThread_destory or at work on a slot.
VELMORA_API int32_t MultiThread_Init(int32_t n);

/// Removes one user of the pool; the last one waits for running jobs and ends the workers. Without
/// users it changes nothing. Prints a progress line to standard output, without a line feed. No
/// token may be held when the last user leaves.
/// @return 0
/// Threads: as MultiThread_Init.
VELMORA_API int32_t MultiThread_destory();

/// Puts a job into a slot. The caller must hold the slot's token.
/// @param slot  0 to 15; others are refused: nothing happens
/// @param job   the job, or null for none
/// @param arg   passed to the job; owned by the caller, must live until the job is done
VELMORA_API void MultiThread_set(int32_t slot, SR_ThreadJob job, void* arg);

/// Starts the job of a slot. The caller must hold the slot's token; it comes back when the job is
/// done, and with no job set it stays taken.
/// @param slot  0 to 15
/// @return 0, or -1 for another slot
VELMORA_API int32_t MultiThread_post(int32_t slot);

/// Takes the token of a slot; blocks while somebody else holds it or a job runs.
/// @param slot  0 to 15
/// @return 0, or -1 for another slot
VELMORA_API int32_t MultiThread_wait(int32_t slot);

/// Waits until the job of a slot is done, empties the slot and gives its token back. Not for a
/// token that the caller took and started no job with: it would wait for itself.
/// @param slot  0 to 15
/// @return 0, or -1 for another slot
VELMORA_API int32_t MultiThread_clean(int32_t slot);

/// MultiThread_wait and MultiThread_set in one, without blocking.
/// @param slot  0 to 15
/// @param job   as in MultiThread_set
/// @param arg   as in MultiThread_set
/// @return 0 if the token was taken and the job set, -1 if the slot is busy or not one of the
///         sixteen
VELMORA_API int32_t MultiThread_trySet(int32_t slot, SR_ThreadJob job, void* arg);

/// Runs the job of a slot, waits until it is done, and gives the token back; the job stays set. The
/// caller must hold the slot's token. Without a job it returns at once, the token still taken.
/// @param slot  0 to 15
/// @return 0, or -1 for another slot
VELMORA_API int32_t MultiThread_post_lock(int32_t slot);

#endif  // VELMORA_SR_THREAD_POOL_H
