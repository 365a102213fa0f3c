#include <faults/wire_faults_p.h>

#include <random>
#include <set>

#include <host/frame_codec.h>

namespace biz::testkit {

namespace {

constexpr int bitsOfByte = 8;
constexpr int mostFlippedBits = 3;
constexpr int fewestPieces = 2;
constexpr int mostPieces = 4;
constexpr int fewestJunkBytes = 2;
constexpr int mostJunkBytes = 64;
constexpr int byteValues = 0x100;
constexpr char delimiter = '\0';

/** A row of numbers that is the same on every platform: the standard's distributions are not. */
class Numbers
{
public:
    explicit Numbers(quint32 draw)
        : m_generator(draw)
    {
    }

    int below(int limit) { return static_cast<int>(m_generator() % static_cast<quint32>(limit)); }
    int fromTo(int least, int most) { return least + below(most - least + 1); }

    /** `count` different numbers from 0 to under `limit`, or all of them if there are not so many. */
    std::set<int> different(int count, int limit)
    {
        std::set<int> numbers;
        while (static_cast<int>(numbers.size()) < std::min(count, limit)) {
            numbers.insert(below(limit));
        }
        return numbers;
    }

private:
    std::mt19937 m_generator;
};

} // namespace

QByteArray withFlippedBits(const QByteArray &frame, quint32 draw)
{
    Numbers numbers(draw);
    QByteArray flipped;
    do {
        flipped = frame;
        const int count = numbers.fromTo(1, mostFlippedBits);
        for (const int bit : numbers.different(count, (static_cast<int>(frame.size()) - 1) * bitsOfByte)) {
            const int at = bit / bitsOfByte;
            flipped[at] = static_cast<char>(flipped.at(at) ^ 1 << bit % bitsOfByte);
        }
    } while (!host::DemoFrameCodec().decode(flipped).records.isEmpty());
    return flipped;
}

QVector<QByteArray> piecesOf(const QByteArray &frame, quint32 draw)
{
    Numbers numbers(draw);
    const int cuts = numbers.fromTo(fewestPieces, mostPieces) - 1;
    QVector<QByteArray> pieces;
    int from = 0;
    for (const int cut : numbers.different(cuts, static_cast<int>(frame.size()) - 1)) {
        pieces.append(frame.mid(from, cut + 1 - from));
        from = cut + 1;
    }
    pieces.append(frame.mid(from));
    return pieces;
}

QByteArray junkBytes(quint32 draw)
{
    Numbers numbers(draw);
    const int size = numbers.fromTo(fewestJunkBytes, mostJunkBytes);
    QByteArray junk(1, static_cast<char>(numbers.fromTo(1, byteValues - 1)));
    while (junk.size() < size - 1) {
        junk.append(static_cast<char>(numbers.below(byteValues)));
    }
    return junk.append(delimiter);
}

} // namespace biz::testkit
