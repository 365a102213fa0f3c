#ifndef BIZ_TESTKIT_WIRE_FAULTS_P_H
#define BIZ_TESTKIT_WIRE_FAULTS_P_H

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/**
 * What can happen to bytes on their way. `draw` decides what is left open, such as the place:
 * the same draw does the same to the same bytes.
 */
namespace biz::testkit {

/**
 * The frame with one to three bits turned, so that it is none any more. A check value notices so few bits always, but
 * for those of a block length of a stream's frame, of which another frame may come: others are turned then.
 * The last byte stays as it is, since without the zero that ends it the next frame would be lost as well.
 */
QByteArray withFlippedBits(const QByteArray &frame, quint32 draw);

/** The frame in two to four pieces, none of them empty; a frame of a single byte stays whole. */
QVector<QByteArray> piecesOf(const QByteArray &frame, quint32 draw);

/** Two to 64 bytes that begin with no zero and end with one, so that a frame of a stream behind them is found. */
QByteArray junkBytes(quint32 draw);

} // namespace biz::testkit

#endif
