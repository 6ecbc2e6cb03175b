#include "DSPTree.h"

#include "ProfilerNetwork.h"

#include <QtAlgorithms>
#include <QtEndian>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace {

const int frameHeaderSize = 12;
const quint8 networkKind = 1;
const quint8 groupKind = 7;
const int currentNetworkVersion = 6;
const int groupRecordSize = 296;
// The widest level field of any version holds 32 values; a larger level count
// in a record is cut to 32 in every version, so no record yields more.
const int maxLevels = 32;

const QString oldVersionStatus =
    QStringLiteral("Connected. (Old version detected, reduced functionality)");
const QString incompatibleVersionStatus =
    QStringLiteral("Connected. (Incompatible version detected, reduced functionality)");

// What a record says about its place in the stream rather than about the unit.
struct RecordLinks
{
    qint64 inputCount = 0;
    bool send = false;
    bool sidechain = false;
};

int recordSize(int version)
{
    static const int sizes[] = {45, 49, 61, 179, 187, 195, 94};
    return sizes[version];
}

int firstRecordOffset(int version)
{
    if (version == 0)
        return 12;
    if (version == 1)
        return 16;
    if (version < 6)
        return 17;
    return 20;
}

quint8 readU8(const char* p)
{
    return static_cast<quint8>(*p);
}

quint16 readU16(const char* p)
{
    return qFromLittleEndian<quint16>(p);
}

quint32 readU32(const char* p)
{
    return qFromLittleEndian<quint32>(p);
}

qint32 readI32(const char* p)
{
    return qFromLittleEndian<qint32>(p);
}

quint64 readU64(const char* p)
{
    return qFromLittleEndian<quint64>(p);
}

float readFloat(const char* p)
{
    const quint32 bits = readU32(p);
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// A name field need not hold its zero byte: the text then fills the field.
QString readName(const char* p, int width)
{
    return QString::fromUtf8(p, static_cast<qsizetype>(qstrnlen(p, width)));
}

// readName into a unit's own text. A plain ASCII name, as nearly all are, is
// widened in place, so a unit read over a retired one keeps its storage.
void readUnitName(const char* p, int width, QString* into)
{
    const qsizetype length = static_cast<qsizetype>(qstrnlen(p, width));
    const auto* bytes = reinterpret_cast<const uchar*>(p);
    if (length == 0 || std::any_of(bytes, bytes + length, [](uchar c) { return c >= 0x80; })) {
        *into = readName(p, width);
        return;
    }
    into->resize(length);
    QChar* out = into->data();
    for (qsizetype i = 0; i < length; ++i)
        out[i] = QLatin1Char(p[i]);
}

// A unit of a retired shape made ready to be read into: every field as a new
// unit has it, but its text and lists keep their storage.
void recycle(DSPNode* node)
{
    DSPNode fresh;
    fresh.name.swap(node->name);
    fresh.volumeLevels.swap(node->volumeLevels);
    fresh.inputs.swap(node->inputs);
    fresh.volumeLevels.resize(0);
    fresh.inputs.resize(0);
    *node = std::move(fresh);
}

int levelCount(const char* p)
{
    return std::min<int>(readU8(p), maxLevels);
}

// Levels are written over the node's list in place: a node refreshed from a
// snapshot of the same shape keeps its level count, so nothing is allocated.
void readFloatLevels(const char* count, const char* values, DSPNode* node)
{
    const int n = levelCount(count);
    node->volumeLevels.resize(n);
    qint8* levels = node->volumeLevels.data();
    for (int i = 0; i < n; ++i) {
        quint32 raw;
        std::memcpy(&raw, values + 4 * i, sizeof raw);
        levels[i] = DSPTree::levelToDecibels(raw);
    }
}

void readByteLevels(const char* count, const char* values, DSPNode* node)
{
    const int n = levelCount(count);
    node->volumeLevels.resize(n);
    if (n > 0) // an empty list may have no storage to copy into
        std::memcpy(node->volumeLevels.data(), values, static_cast<size_t>(n));
}

// What changes from one snapshot of a running network to the next: the
// unit's own time and its levels. Every other byte of a record is its shape.
void readValues(const char* r, int version, DSPNode* node)
{
    if (version == 1) {
        node->exclusiveTime = readU32(r + 45);
    } else if (version == 2) {
        // Version 2 names the number of channels but carries no levels.
        node->exclusiveTime = readU16(r + 48);
        node->volumeLevels.fill(-80, levelCount(r + 50));
    } else if (version == 3) {
        node->exclusiveTime = readU16(r + 48);
        readFloatLevels(r + 50, r + 51, node);
    } else if (version == 4 || version == 5) {
        node->exclusiveTime = readU16(r + 56);
        readFloatLevels(r + 58, r + 59, node);
    } else if (version == 6) {
        node->exclusiveTime = readU16(r + 26);
        readByteLevels(r + 29, r + 30, node);
    }
}

// The bytes of a record that readValues reads, as [begin, end) ranges; a
// version without levels has an empty second range.
struct ValueRanges
{
    int timeBegin;
    int timeEnd;
    int levelsBegin;
    int levelsEnd;
};

ValueRanges valueRanges(int version)
{
    static const ValueRanges ranges[] = {{45, 45, 45, 45},  {45, 49, 49, 49},  {48, 50, 50, 50},
                                         {48, 50, 51, 179}, {56, 58, 59, 187}, {56, 58, 59, 187},
                                         {26, 28, 30, 62}};
    return ranges[version];
}

// Whether two records agree in every byte but their values.
bool sameRecordShape(const char* a, const char* b, int size, const ValueRanges& values)
{
    return std::memcmp(a, b, static_cast<size_t>(values.timeBegin)) == 0 &&
           std::memcmp(a + values.timeEnd, b + values.timeEnd,
                       static_cast<size_t>(values.levelsBegin - values.timeEnd)) == 0 &&
           std::memcmp(a + values.levelsEnd, b + values.levelsEnd,
                       static_cast<size_t>(size - values.levelsEnd)) == 0;
}

void readVersion0(const char* r, DSPNode* node, RecordLinks* links)
{
    node->id = static_cast<quint64>(static_cast<qint64>(readI32(r)));
    readUnitName(r + 4, 32, &node->name);
    links->inputCount = readI32(r + 36);
    node->active = readU8(r + 40) != 0;
}

void readVersion2(const char* r, DSPNode* node, RecordLinks* links)
{
    node->id = readU64(r);
    readUnitName(r + 8, 32, &node->name);
    links->inputCount = readI32(r + 40);
    node->active = readU8(r + 44) != 0;
    node->bypass = readU8(r + 45) != 0;
}

void readVersion4(const char* r, int version, DSPNode* node, RecordLinks* links)
{
    node->id = readU64(r);
    node->groupId = readU64(r + 8);
    readUnitName(r + 16, 32, &node->name);
    links->inputCount = readI32(r + 48);
    node->active = readU8(r + 52) != 0;
    node->bypass = readU8(r + 53) != 0;
    if (version == 5)
        node->sendTargetId = readU64(r + 187);
}

void readVersion6(const char* r, DSPNode* node, RecordLinks* links)
{
    node->id = readU64(r);
    node->groupId = readU64(r + 8);
    node->sendTargetId = readU64(r + 16);
    links->inputCount = readU16(r + 24);
    const quint8 flags = readU8(r + 28);
    node->active = (flags & 0x01) != 0;
    node->bypass = (flags & 0x02) != 0;
    links->send = (flags & 0x04) != 0;
    links->sidechain = (flags & 0x08) != 0;
    readUnitName(r + 62, 32, &node->name);
}

// The id of the record at r, as readRecord reads it.
quint64 readId(const char* r, int version)
{
    return version <= 1 ? static_cast<quint64>(static_cast<qint64>(readI32(r))) : readU64(r);
}

// The number of low bits in which the ids of the first records from
// `records` on agree: ids that look like addresses share their alignment.
// Only a sample is looked at, so that the frame is not read twice: a later id
// that breaks the alignment costs its lookups their order, nothing else.
int idAlignment(const char* records, qint64 count, qint64 size, int version)
{
    const qint64 sample = std::min<qint64>(count, 4096);
    quint64 differing = 0;
    const quint64 first = sample > 0 ? readId(records, version) : 0;
    for (qint64 i = 1; i < sample; ++i)
        differing |= readId(records + i * size, version) ^ first;
    return differing == 0 ? 0 : qCountTrailingZeroBits(differing);
}

// Reads the record at r, which the caller has checked to lie whole in the frame.
void readRecord(const char* r, int version, DSPNode* node, RecordLinks* links)
{
    if (version <= 1)
        readVersion0(r, node, links);
    else if (version <= 3)
        readVersion2(r, node, links);
    else if (version <= 5)
        readVersion4(r, version, node, links);
    else
        readVersion6(r, node, links);
    readValues(r, version, node);
}

// Unique over all trees of the process, so that a layout never takes one
// tree's shape for another's.
quint64 nextShapeGeneration()
{
    static std::atomic<quint64> next{1};
    return next++;
}

} // namespace

DSPTree::DSPTree(ProfilerNetwork* network)
    : network(network), networkVersion(-1), groupVersion(-1), totalCPU(0.0f), sampleRate(0),
      blockLength(0), shapeGeneration(nextShapeGeneration())
{
    if (network)
        connect(network, SIGNAL(packetReady()), this, SLOT(slotPacketArrived()));
}

DSPTree::~DSPTree()
{
    deleteNodes();
    qDeleteAll(groups);
}

void DSPTree::slotPacketArrived()
{
    const bool networkChanged = decodeNetworkPacket();
    const bool groupsChanged = decodeGroupPacket();
    if (networkChanged || groupsChanged)
        Q_EMIT dspNetTreeUpdated();
}

// Older snapshots of one pass are thrown away unread: the graph only ever
// shows the newest state of the target.
bool DSPTree::decodeNetworkPacket()
{
    if (!network)
        return false;
    const int count = network->countPackets(networkKind, 0);
    if (count == 0)
        return false;
    QByteArray newest;
    for (int i = 0; i < count; ++i)
        newest = network->takePacket(networkKind, 0);
    return acceptNetworkFrame(newest);
}

bool DSPTree::decodeGroupPacket()
{
    if (!network)
        return false;
    const int count = network->countPackets(groupKind, 0);
    if (count == 0)
        return false;
    QByteArray newest;
    for (int i = 0; i < count; ++i)
        newest = network->takePacket(groupKind, 0);
    return acceptGroupFrame(newest);
}

// A damaged snapshot (cut short, an input count that claims more records than
// the frame holds, no record at all) is dropped whole: the previous graph and
// its header values stay. Half a network would show units without their inputs
// as if the target had lost them. Only version problems make a status line, so
// the line stays what it was (an old version's line has already been given).
bool DSPTree::acceptNetworkFrame(const QByteArray& frame)
{
    if (frame.size() < frameHeaderSize)
        return false;
    const int version = readU8(frame.constData() + 10);
    if (version > currentNetworkVersion) {
        totalCPU = 0.0f;
        sampleRate = 0;
        blockLength = 0;
        Q_EMIT statusChanged(incompatibleVersionStatus);
        return false;
    }
    if (version < currentNetworkVersion)
        Q_EMIT statusChanged(oldVersionStatus);

    return readSnapshot(frame, version);
}

// Reads the records into a graph of their own and replaces the current one
// only when all of them were there. A frame too short for its snapshot header
// is damaged like one cut inside a record. A snapshot of the same shape as the
// last one accepted only refreshes the values of the graph it built.
bool DSPTree::readSnapshot(const QByteArray& frame, int version)
{
    const qsizetype first = firstRecordOffset(version);
    if (frame.size() < first)
        return false;
    const bool reused = sameShape(frame, version);
    if (reused) {
        refreshValues(frame, version);
    } else {
        const char* cursor = frame.constData() + first;
        // The units of the shape before last are read over, not freed: a new
        // unit then costs no allocation for its name, levels or inputs, and
        // a large network is not freed and made again for each new shape.
        // Its table is filled again likewise.
        DSPNodeTable decoded;
        decoded.swap(retiredNodes);
        ReadOrder order;
        retiredOrder.giveBlocksTo(order);
        DSPNode decodedHead;
        if (!readNode(cursor, frame.constData() + frame.size(), version, &decodedHead, decoded,
                      order, frameBudget(frame, version)))
            return false;
        retiredOrder = std::move(readOrder);
        retiredNodes.swap(nodes);
        nodes.swap(decoded);
        readOrder = std::move(order);
        head = std::move(decodedHead);
        networkVersion = version;
        shapeGeneration = nextShapeGeneration();
        // On the same shape the depths and keys are the same too.
        computeDepth();
        computeKeyPlaces();
    }
    acceptedFrame = frame;
    readHeader(frame, version);
    // A full read of version 6 gave each unit its shares already.
    if (reused || version != 6)
        computeCPU();
    return true;
}

void DSPTree::readHeader(const QByteArray& frame, int version)
{
    const char* header = frame.constData() + frameHeaderSize;
    totalCPU = (version >= 1 && version <= 5) ? readFloat(header) : 0.0f;
    sampleRate = version == 6 ? readI32(header) : 0;
    blockLength = version == 6 ? readI32(header + 4) : 0;
}

// The same shape: the same version and length, and records that agree with
// those of the accepted frame in every byte but their values, so that a full
// read would build the same units, connections, flags, names and groups. The
// bytes behind the records are compared too, which errs only towards a full
// read.
bool DSPTree::sameShape(const QByteArray& frame, int version) const
{
    if (readOrder.isNew.empty() || version != networkVersion ||
        frame.size() != acceptedFrame.size())
        return false;
    const qsizetype first = firstRecordOffset(version);
    const int size = recordSize(version);
    const qsizetype end = first + qsizetype(readOrder.isNew.size()) * size;
    const ValueRanges values = valueRanges(version);
    const char* a = frame.constData();
    const char* b = acceptedFrame.constData();
    for (qsizetype at = first; at < end; at += size) {
        if (!sameRecordShape(a + at, b + at, size, values))
            return false;
    }
    return std::memcmp(a + end, b + end, static_cast<size_t>(frame.size() - end)) == 0;
}

// Reads the values of the records that made units, in the order the full read
// made them, and sums the inclusive times the way the full read does: each
// unit's time goes to the unit it was first reached from, units read later
// first, so every unit has its inputs' sums before it passes its own on.
void DSPTree::refreshValues(const QByteArray& frame, int version)
{
    const char* records = frame.constData() + firstRecordOffset(version);
    const int size = recordSize(version);
    qsizetype made = 0;
    for (size_t i = 0; i < readOrder.isNew.size(); ++i) {
        if (!readOrder.isNew[i])
            continue;
        DSPNode* node = nodes.at(made++);
        readValues(records + qsizetype(i) * size, version, node);
        node->inclusiveTime = node->exclusiveTime;
    }
    head.inclusiveTime = 0;
    for (qsizetype i = nodes.size(); i-- > 0;) {
        const int parent = readOrder.parent[size_t(i)];
        DSPNode* to = parent < 0 ? &head : nodes.at(parent);
        to->inclusiveTime += nodes.at(i)->inclusiveTime;
    }
}

// The table ends at the smaller of its size field and the frame's length, so
// a size field below 12 leaves room for no record; a partial record at the end
// is ignored.
bool DSPTree::acceptGroupFrame(const QByteArray& frame)
{
    if (frame.size() < frameHeaderSize)
        return false;
    const char* data = frame.constData();
    if (readU8(data + 10) != 0) {
        Q_EMIT statusChanged(incompatibleVersionStatus);
        return false;
    }
    // A table byte for byte like the accepted one keeps its groups.
    if (groupVersion == 0 && frame == acceptedGroupFrame)
        return true;
    acceptedGroupFrame = frame;
    shapeGeneration = nextShapeGeneration();
    qDeleteAll(groups);
    groups.clear();
    groupVersion = 0;
    const qint64 length = std::min<qint64>(readU32(data), frame.size());
    const qint64 records = std::max<qint64>(length - frameHeaderSize, 0) / groupRecordSize;
    groups.reserve(records);
    for (qint64 i = 0; i < records; ++i) {
        const char* r = data + frameHeaderSize + i * groupRecordSize;
        DSPGroup* group = new DSPGroup;
        group->id = readU64(r);
        group->parentId = readU64(r + 8);
        const auto* b = reinterpret_cast<const uchar*>(r + 24);
        group->guid = QUuid(readU32(r + 16), readU16(r + 20), readU16(r + 22), b[0], b[1], b[2],
                            b[3], b[4], b[5], b[6], b[7]);
        group->name = readName(r + 36, 260);
        groups.append(group);
    }
    return true;
}

// Reads the record at cursor as an input of parent, then the inputs of every
// new unit behind it, depth first, and moves cursor behind the last of them.
// With a budget (version 6), each new unit gets its CPU shares while its record
// is still in the cache: a later pass over a large network waits for memory.
// The target chooses the depth of the network, so the pending input counts are
// kept on a heap stack rather than the call stack; the stack never holds more
// entries than the frame holds records. False when the frame ends before the
// records that the counts announce.
bool DSPTree::readNode(const char*& cursor, const char* end, int version, DSPNode* parent,
                       DSPNodeTable& table, ReadOrder& order, float budget)
{
    struct Pending
    {
        DSPNode* node;
        int index; // in nodes; -1 for parent
        qint64 remaining;
    };
    const qint64 size = recordSize(version);
    const qint64 capacity = std::min<qint64>((end - cursor) / size, 1 << 24);
    table.reset(capacity, idAlignment(cursor, capacity, size, version));
    order.trimSpare(capacity);
    order.isNew.reserve(size_t(capacity));
    order.parent.reserve(size_t(capacity));
    order.links.reserve(size_t(capacity));
    std::vector<Pending> pending{{parent, -1, 1}};
    quint64 firstHighBits = 0;
    while (!pending.empty()) {
        if (pending.back().remaining == 0) {
            DSPNode* done = pending.back().node;
            pending.pop_back();
            if (pending.empty())
                continue;
            pending.back().node->inclusiveTime += done->inclusiveTime;
            if (budget != 0.0f)
                done->inclusiveCPU = static_cast<float>(done->inclusiveTime) / budget;
            continue;
        }
        if (end - cursor < size)
            return false;
        --pending.back().remaining;
        // The entry is made before the inputs are read, so a record inside the
        // unit's own inputs that repeats its id finds it and closes a loop. A
        // new unit is read straight into its place in the store.
        bool added = false;
        DSPNode* entry = table.findOrAdd(readId(cursor, version), &added,
                                         [&] { return order.allocate((end - cursor) / size); });
        const bool repeated = !added;
        RecordLinks links;
        if (repeated) {
            DSPNode again;
            readRecord(cursor, version, &again, &links);
        } else {
            readRecord(cursor, version, entry, &links);
            entry->inclusiveTime = entry->exclusiveTime;
            if (budget != 0.0f)
                entry->exclusiveCPU = static_cast<float>(entry->exclusiveTime) / budget;
            // Its place in nodes, which the depth walk and the key of the
            // view index by (computeDepth, computeKeyPlaces).
            entry->depth = int(table.size() - 1);
            entry->keyPlace = entry->depth;
            if (table.size() == 1)
                firstHighBits = entry->id >> 32;
            order.highBitsShared &= (entry->id >> 32) == firstHighBits;
        }
        cursor += size;
        order.isNew.push_back(!repeated);
        if (!repeated) {
            entry->inputs.reserve(std::clamp<qint64>(links.inputCount, 0, (end - cursor) / size));
            order.parent.push_back(pending.back().index);
        }
        pending.back().node->inputs.append(DSPConnection{entry, links.sidechain, links.send});
        order.links.push_back({pending.back().index, entry->depth});
        if (!repeated)
            pending.push_back(
                {entry, int(table.size() - 1), std::max<qint64>(links.inputCount, 0)});
    }
    return true;
}

// Units live in blocks of up to blockSize rather than one allocation each:
// a large network is read and freed several times faster, and walked in the
// order it lies in memory.
DSPNode* DSPTree::ReadOrder::allocate(qint64 capacity)
{
    const qint64 blockSize = 4096;
    if (blocks.empty() || usedInLast == blocks.back().size) {
        if (nextSpare < spare.size()) {
            blocks.push_back(std::move(spare[nextSpare++]));
            blocks.back().recycled = true;
        } else {
            const qint64 size = std::max<qint64>(std::min(capacity, blockSize), 1);
            blocks.push_back({std::make_unique<DSPNode[]>(size_t(size)), size, false});
        }
        usedInLast = 0;
    }
    Block& block = blocks.back();
    DSPNode* node = &block.nodes[size_t(usedInLast++)];
    if (block.recycled)
        recycle(node);
    return node;
}

void DSPTree::ReadOrder::giveBlocksTo(ReadOrder& into)
{
    for (Block& block : blocks)
        into.spare.push_back(std::move(block));
    for (size_t i = nextSpare; i < spare.size(); ++i)
        into.spare.push_back(std::move(spare[i]));
    *this = ReadOrder();
}

void DSPTree::ReadOrder::trimSpare(qint64 units)
{
    size_t keep = nextSpare;
    for (qint64 held = 0; keep < spare.size() && held < units; ++keep)
        held += spare[keep].size;
    spare.erase(spare.begin() + std::ptrdiff_t(keep), spare.end());
}

qint8 DSPTree::levelToDecibels(quint32 rawLevel)
{
    uchar bytes[4];
    std::memcpy(bytes, &rawLevel, sizeof bytes);
    const quint32 bits = qFromBigEndian<quint32>(bytes);
    float amplitude;
    std::memcpy(&amplitude, &bits, sizeof amplitude);
    // Written so that NaN, like silence, reads as -80.
    if (!(amplitude > 0.0f))
        return -80;
    // Limiting before truncating gives the same whole numbers as the other way
    // round, and keeps an infinite value out of the conversion to int.
    const float db = 20.0f * std::log10(amplitude);
    if (db > 10.0f)
        return 10;
    if (db <= -80.0f)
        return -80;
    return static_cast<qint8>(static_cast<int>(db));
}

// The time of one block in the units' time unit; 0 where the header gives none.
float DSPTree::cpuBudget(qint32 sampleRate, qint32 blockLength)
{
    if (sampleRate == 0 || blockLength == 0)
        return 0.0f;
    return static_cast<float>(blockLength) * 1000.0f * 1000.0f / static_cast<float>(sampleRate);
}

// The budget of a version 6 frame, read before its records; 0 for the other
// versions, whose shares wait for the root's time.
float DSPTree::frameBudget(const QByteArray& frame, int version)
{
    if (version != 6)
        return 0.0f;
    const char* header = frame.constData() + frameHeaderSize;
    return cpuBudget(readI32(header), readI32(header + 4));
}

void DSPTree::computeCPU()
{
    if (totalCPU != 0.0f) {
        if (head.inputs.isEmpty())
            return;
        const quint32 rootTime = head.inputs.first().node->inclusiveTime;
        const float scale = rootTime == 0 ? 0.0f : 1.0f / static_cast<float>(rootTime);
        for (DSPNode* node : std::as_const(nodes)) {
            node->inclusiveCPU = static_cast<float>(node->inclusiveTime) * totalCPU * scale;
            node->exclusiveCPU = static_cast<float>(node->exclusiveTime) * totalCPU * scale;
        }
        return;
    }
    const float budget = cpuBudget(sampleRate, blockLength);
    if (budget == 0.0f)
        return;
    for (DSPNode* node : std::as_const(nodes)) {
        node->inclusiveCPU = static_cast<float>(node->inclusiveTime) / budget;
        node->exclusiveCPU = static_cast<float>(node->exclusiveTime) / budget;
    }
}

// depth is what a re-walk from the root gives: a unit reached again by a longer
// path is walked again, and a connection back to a unit on the current path is
// ignored. Where loops meet, that result depends on the order of the inputs,
// and only the re-walk itself gives it. A unit's depth only grows and stays
// below the number of units, so the re-walk ends, but a network where many
// paths of different lengths meet can make it re-walk units many times over (up
// to units times connections steps). So it runs with a budget of 16 steps per
// unit and connection, which every network of up to 16 units keeps, and so do
// the shared and looped networks of the decoder benchmark up to 100,000 units;
// beyond it the depths come from a linear method instead (fallbackDepths). Both
// keep their stacks on the heap: the target chooses how deep the network goes.
void DSPTree::computeDepth()
{
    // Every record read is one connection, to the unit it is an input of.
    const qint64 connections = qint64(readOrder.isNew.size());
    const qint64 budget = 16 * (nodes.size() + connections);
    if (!rewalkDepths(budget))
        fallbackDepths();
}

// The re-walk from head, step by step on an explicit stack. It follows the
// connections the decoder kept as places, each unit's inputs in their order,
// rather than the units' own input lists: at 100,000 units those are scattered
// over the heap and each step would wait for memory twice. False, with the
// depths left unfinished, once more than budget connections have been looked at.
bool DSPTree::rewalkDepths(qint64 budget)
{
    const size_t count = size_t(nodes.size());
    const size_t headPlace = count;
    // inputs[firstInput[u] .. firstInput[u + 1]): the places of unit u's inputs
    std::vector<int> firstInput(count + 2, 0);
    for (const auto& link : readOrder.links)
        ++firstInput[(link.first < 0 ? headPlace : size_t(link.first)) + 1];
    for (size_t i = 0; i <= count; ++i)
        firstInput[i + 1] += firstInput[i];
    std::vector<int> inputs(readOrder.links.size());
    {
        std::vector<int> fill(firstInput.begin(), firstInput.end() - 1);
        for (const auto& link : readOrder.links)
            inputs[size_t(fill[link.first < 0 ? headPlace : size_t(link.first)]++)] = link.second;
    }
    std::vector<int> depth(count + 1, -1);
    std::vector<bool> onPath(count + 1, false);
    struct Step
    {
        size_t place;
        int next;
    };
    std::vector<Step> path{{headPlace, firstInput[headPlace]}};
    onPath[headPlace] = true;
    while (!path.empty()) {
        Step& step = path.back();
        const size_t from = step.place;
        if (step.next == firstInput[from + 1]) {
            onPath[from] = false;
            path.pop_back();
            continue;
        }
        if (--budget < 0)
            return false;
        const size_t to = size_t(inputs[size_t(step.next++)]);
        if (depth[from] + 1 <= depth[to] || onPath[to])
            continue;
        depth[to] = depth[from] + 1;
        onPath[to] = true;
        path.push_back({to, firstInput[to]});
    }
    for (size_t i = 0; i < count; ++i)
        nodes.at(qsizetype(i))->depth = depth[i];
    return true;
}

// Ids are unique among the units, so where all of them agree in their high 32
// bits, no two share their low 32 bits either and each unit is its own key's
// first, as the decoder made it. Otherwise the first unit of each key is
// looked up.
void DSPTree::computeKeyPlaces()
{
    if (readOrder.highBitsShared)
        return;
    const qsizetype count = nodes.size();
    IdTable<int> firstByKey;
    firstByKey.reset(count);
    for (qsizetype i = 0; i < count; ++i) {
        bool added = false;
        DSPNode* node = nodes.at(i);
        node->keyPlace = firstByKey.insert(quint32(node->id), int(i), &added);
    }
}

// Two linear passes:
//  1. A depth-first walk from head, inputs in their order, numbers the units in
//     the order they are finished. A connection to a unit still on the walk's
//     path closes a loop and is left out; what remains is acyclic, and reverse
//     finishing order is a topological order of it.
//  2. In that order each unit passes its depth plus one on to its inputs.
// On an acyclic network this is exactly the longest path, as the re-walk gives
// it. On a network with loops it is the longest path that uses no connection
// back to a unit on the path of that first walk.
void DSPTree::fallbackDepths()
{
    // While walking, depth holds the state: unseen, on the path, or the
    // finishing number (0 or more).
    const int unseen = -1;
    const int onPath = -2;
    for (DSPNode* node : std::as_const(nodes))
        node->depth = unseen;
    struct Step
    {
        DSPNode* node;
        qsizetype next;
    };
    std::vector<DSPNode*> finished;
    finished.reserve(static_cast<size_t>(nodes.size()) + 1);
    std::vector<Step> path{{&head, 0}};
    head.depth = onPath;
    while (!path.empty()) {
        Step& step = path.back();
        if (step.next < step.node->inputs.size()) {
            DSPNode* input = step.node->inputs.at(step.next++).node;
            if (input->depth == unseen) {
                input->depth = onPath;
                path.push_back({input, 0});
            }
            continue;
        }
        step.node->depth = static_cast<int>(finished.size());
        finished.push_back(step.node);
        path.pop_back();
    }
    std::vector<int> longest(finished.size(), -1);
    for (size_t i = finished.size(); i-- > 0;) {
        for (const DSPConnection& connection : std::as_const(finished[i]->inputs)) {
            const int j = connection.node->depth;
            if (j < static_cast<int>(i))
                longest[j] = std::max(longest[j], longest[i] + 1);
        }
    }
    for (size_t i = 0; i < finished.size(); ++i)
        finished[i]->depth = longest[i];
}

void DSPTree::deleteNodes()
{
    readOrder = ReadOrder();
    nodes.reset(0);
    head = DSPNode();
}

void DSPTree::setDSPEnabled(quint64 id, bool enabled)
{
    if (networkVersion >= 5)
        sendCommand(2, id, enabled);
}

void DSPTree::setDSPBypass(quint64 id, bool bypass)
{
    if (networkVersion >= 5)
        sendCommand(3, id, bypass);
}

void DSPTree::sendDSPText(QString text)
{
    if (networkVersion >= 5)
        sendText(networkKind, 6, text);
}

void DSPTree::sendGroupText(QString text)
{
    sendText(groupKind, 0, text);
}

void DSPTree::sendCommand(quint8 subKind, quint64 id, bool value)
{
    if (!network)
        return;
    char frame[21] = {};
    qToLittleEndian<quint32>(sizeof frame, frame);
    frame[8] = static_cast<char>(networkKind);
    frame[9] = static_cast<char>(subKind);
    frame[10] = 6;
    qToLittleEndian<quint64>(id, frame + 12);
    frame[20] = value ? 1 : 0;
    network->sendPacket(frame);
}

// Texts longer than 127 bytes are cut there, which can split a UTF-8 sequence;
// the target only compares the text with names it knows.
void DSPTree::sendText(quint8 kind, quint8 version, const QString& text)
{
    if (!network)
        return;
    char frame[140] = {};
    qToLittleEndian<quint32>(sizeof frame, frame);
    frame[8] = static_cast<char>(kind);
    frame[9] = 1;
    frame[10] = static_cast<char>(version);
    const QByteArray utf8 = text.toUtf8();
    std::memcpy(frame + 12, utf8.constData(), std::min<size_t>(utf8.size(), 127));
    frame[139] = 0;
    network->sendPacket(frame);
}
