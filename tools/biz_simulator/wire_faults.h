#ifndef BIZ_SIMULATOR_WIRE_FAULTS_H
#define BIZ_SIMULATOR_WIRE_FAULTS_H

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/**
 * What can happen to bytes on their way. `draw` decides what is left open, such as the place:
 * the same draw does the same to the same bytes.
 */
namespace biz::simulator {

/** The frame with one to three bits turned: few enough for its check value to notice always. */
QByteArray withFlippedBits(const QByteArray &frame, quint32 draw);

/** The frame in two to four pieces, none of them empty; a frame of a single byte stays whole. */
QVector<QByteArray> piecesOf(const QByteArray &frame, quint32 draw);

/** One to 64 bytes that hold no frame; half of the time they begin as frames do. */
QByteArray junkBytes(quint32 draw);

} // namespace biz::simulator

#endif
