#include "trimora/contract/koUtil/ThreadedAlg.h"

namespace koUtil {

ThreadedAlgBase::~ThreadedAlgBase() = default;

ThreadedAlg::~ThreadedAlg() = default;

void ThreadedAlg::initialize(int /*numThreads*/) {}

void ThreadedAlg::finalize() {}

ThreadedChunkAlg::~ThreadedChunkAlg() = default;

void ThreadedChunkAlg::initialize(int /*numThreads*/) {}

void ThreadedChunkAlg::finalize() {}

}  // namespace koUtil
