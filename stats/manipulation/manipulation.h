// Data manipulation: sorting, ranking and ordering of rtables of any data
// type, working on their data blocks in their own representation; tallies,
// frequency tables and linear binning; selection and removal; trimming,
// winsorizing, shuffling and sharpening.
//
// Data blocks hold elements of the rtable's data type (codes of
// RTableDataType). Ranks are 0-based from the ranking routine (0 = first in
// the requested order); ranks given by the host are 1-based. Every element
// comparison puts missing values (undefined floats, NaN) after every number.
#ifndef QUARN_STATS_MANIPULATION_MANIPULATION_H
#define QUARN_STATS_MANIPULATION_MANIPULATION_H

#include "stats/descriptive/descriptive.h"
#include "stats/frame/frame.h"

// Bytes of one element of the data type: 1, 2, 4, 8 for the integers of 8
// to 64 bits, 4 for single, 8 for double, 16 for complex double, one handle
// for a host object (any unknown code too) and two for a complex pair.
STATS_EXPORT unsigned int STATS_RTableDataSize_MP(QKernel kv, int data_type);

// ranks[i] = the position of element i of the block in ascending (ascending
// = 1) or descending order (any other value), equal elements in their block
// order. Raises "unable to compare complex numbers" for data types 1 and 7,
// and the ranking routine's own message when it fails.
STATS_EXPORT void STATS_RankSortDataBlock_MP(QKernel kv, void* block, unsigned int* ranks, int n, int data_type,
                                             int ascending);

// Moves count rows of row_length elements (element_size bytes each) from the
// source to the slots their ranks name: source row i starts at element
// source_offset + i * source_stride, destination slot p at element
// target_offset + p * target_stride (strides and offsets in elements), with
// p = ranks[i] - rank_base, reversed when ascending is 0. Raises "invalid
// rank: %1" for a rank outside the rows and, when occupied flags are given
// and check_duplicates is non-zero, "duplicate rank: %1" for a slot filled
// twice; without the check a later row overwrites an earlier one.
STATS_EXPORT void STATS_RankOrderDataBlock_MP(QKernel kv, void* source, int source_stride, int source_offset,
                                              void* target, int target_stride, int target_offset, int count,
                                              int rank_base, int row_length, int element_size,
                                              const unsigned int* ranks, unsigned int* occupied, int ascending,
                                              int check_duplicates);

// Linear binning of count points (with weights, or null) onto the n nodes
// a + j (b - a)/(n - 1), j = 0 .. n-1, written to out[0 .. n-1]: a point x
// in [a, b] gives its weight (1 without weights or for an undefined weight)
// to the two nodes around it in proportion to its nearness to each, and the
// nodes are then scaled by p / (total weight binned), p = n/(b - a) when p
// is 0. Undefined points are not binned; unless quiet, their presence is
// reported on the "Statistics" channel at level 1. n < 1 does nothing.
STATS_EXPORT void STATS_Discretize_MP(QKernel kv, int n, QuarnFloat a, QuarnFloat b, QuarnFloat p, int quiet,
                                      int count, QuarnFloat* points, QuarnFloat* weights, QuarnFloat* out);

#define MANIPULATION_ENTRY(N, COUNT, MESSAGE) STATS_EXPORT HostObject STATS_Quarn##N##_MP(QKernel kv, HostObject args);
#include "stats/manipulation/entries.inc"
#undef MANIPULATION_ENTRY

#endif
