#include "SourceListNode.h"

int SourceListNode::compare(const SourceListNode &other) const
{
    if (m_isAFile == other.m_isAFile)
        return 0;
    return m_isAFile ? 1 : -1;
}
