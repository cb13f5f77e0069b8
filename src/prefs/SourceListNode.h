#pragma once

#include <QString>

// One row of an exclusion table: a whole path or a path fragment, whether it is excluded, and
// whether it names a file (anything that is not a folder, a missing item included).
class SourceListNode
{
public:
    SourceListNode() = default;
    SourceListNode(const QString &name, int state, bool isAFile = true)
        : m_name(name), m_state(state), m_isAFile(isAFile)
    {
    }

    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    // 1 excluded, 0 not.
    int state() const { return m_state; }
    void setState(int state) { m_state = state; }
    bool isAFile() const { return m_isAFile; }
    void setIsAFile(bool isAFile) { m_isAFile = isAFile; }

    // Folders before files and nothing more: -1 when this row is a folder and `other` a file,
    // 1 the other way round, 0 when both are of one kind.
    int compare(const SourceListNode &other) const;

    bool operator==(const SourceListNode &other) const = default;

private:
    QString m_name;
    int m_state = 0;
    bool m_isAFile = true;
};
