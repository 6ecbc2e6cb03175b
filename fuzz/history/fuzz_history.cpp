#include "CPUHistory.h"
#include "ChannelHistory.h"
#include "CodecHistory.h"
#include "HistoryFuzzInput.h"
#include "StatsHistory.h"

#include <cstdlib>

namespace {

template <typename Store> void feed(const QList<QByteArray>& frames)
{
    Store store(nullptr);
    int reported = 0;
    QObject::connect(&store, &Store::historyUpdated, [&](int count) { reported += count; });
    store.processPackets(frames);
    // What the line graphs rely on: the list never passes its cap, and no signal
    // announces more snapshots than the list holds.
    const int size = int(store.snapshots()->size());
    if (size > Store::maxSnapshots || reported > size || reported > frames.size()) {
        std::abort();
    }
}

} // namespace

// Every decoder takes the same frames: each reads its own layout from them, whatever
// their kind bytes say.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QList<QByteArray> frames = HistoryFuzzInput::split(data, size);
    feed<CPUHistory>(frames);
    feed<ChannelHistory>(frames);
    feed<CodecHistory>(frames);
    feed<StatsHistory>(frames);
    return 0;
}
