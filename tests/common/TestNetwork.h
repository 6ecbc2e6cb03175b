#ifndef TESTNETWORK_H
#define TESTNETWORK_H

#include "TestFrames.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// A DSP network written in a compact text and turned into snapshot frames of
// any version, the way a target writes them: depth first from the root, the
// inputs of a unit behind its first record, a unit met again as a bare record.
//
//   TestNetwork net("R<-A,B; A<-C; B<-C+send,D");
//   net.node("C").exclusiveTime = 5;
//   QByteArray frame = net.snapshot(6);
//
// Each clause "X<-I1,I2,..." lists the inputs of X in order; clauses are
// separated by ';' and blanks are ignored. The first name mentioned is the
// root. An input may carry connection flags (written by version 6 only):
// "A+send", "A+sidechain", "A+send+sidechain". A name without a clause of its
// own has no inputs. Loops are allowed: "A<-B; B<-A".
//
// Every name gets, in order of first mention, the id 1, 2, 3, ... and itself as
// the unit name; change these and any other attribute through node(). A bare
// record of a unit met again carries the unit's attributes and its real input
// count, which a decoder must ignore.
class TestNetwork
{
public:
    explicit TestNetwork(const QString& description);

    // The description of a large network of n units named N0 to N<n-1>: a
    // ternary tree in which every seventh unit also feeds from the unit five
    // places before it, which gives shared units and, where that unit is an
    // ancestor, loops. The benchmarks of the decoder and the layout share it.
    static QString sharedTernary(int n);

    // The attributes of the named unit. The name must occur in the description.
    TestNode& node(const QString& name);
    // The names in order of first mention; the first is the root.
    QStringList names() const { return order; }

    // The node records alone, and the whole snapshot frame with the header
    // values below.
    QByteArray records(int version) const;
    QByteArray snapshot(int version) const;

    float totalCPU = 0.0f;  // written by versions 1 to 5
    qint32 sampleRate = 0;  // written by version 6
    qint32 blockLength = 0; // written by version 6

private:
    struct Input
    {
        QString name;
        bool send = false;
        bool sidechain = false;
    };

    void mention(const QString& name);
    Input parseInput(const QString& text);

    QStringList order;
    QHash<QString, TestNode> units;
    QHash<QString, QList<Input>> inputs;
};

#endif // TESTNETWORK_H
