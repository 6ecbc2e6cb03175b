#ifndef TESTNETWORK_H
#define TESTNETWORK_H

#include "TestFrames.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// A DSP network in a compact text, "R<-A,B; A<-C; B<-C+send,D" (inputs in
// order, first name the root, flags "+send" and "+sidechain" written by
// version 6 only, loops allowed), turned into snapshot frames as a target
// writes them: depth first, a unit met again as a bare record with its real
// input count, which a decoder must ignore. Names get ids 1, 2, 3, ... in
// order of first mention; change any attribute through node().
class TestNetwork
{
public:
    explicit TestNetwork(const QString& description);

    // n units N0 to N<n-1>: a ternary tree in which every seventh unit also
    // feeds from the one five places before it (shared units and loops).
    static QString sharedTernary(int n);

    // The attributes of the named unit. The name must occur in the description.
    TestNode& node(const QString& name);
    // The names in order of first mention; the first is the root.
    QStringList names() const { return order; }

    // The node records alone, and the whole frame with the header values below.
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
