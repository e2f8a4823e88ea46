#include "core/ZV_List.h"

namespace zenvary {

void ZV_List::append(ZV_ListItem* item) {
    if (!item) return;
    item->m_next = nullptr;
    item->m_prev = m_tail;
    if (m_tail)
        m_tail->m_next = item;
    else
        m_head = item;
    m_tail = item;
    ++m_count;
}

void ZV_List::prepend(ZV_ListItem* item) {
    if (!item) return;
    item->m_prev = nullptr;
    item->m_next = m_head;
    if (m_head)
        m_head->m_prev = item;
    else
        m_tail = item;
    m_head = item;
    ++m_count;
}

ZV_ListItem* ZV_List::unlink(ZV_ListItem* item) {
    if (!item) return nullptr;
    if (item->m_prev)
        item->m_prev->m_next = item->m_next;
    else
        m_head = item->m_next;
    if (item->m_next)
        item->m_next->m_prev = item->m_prev;
    else
        m_tail = item->m_prev;
    item->m_prev = item->m_next = nullptr;
    --m_count;
    return item;
}

void ZV_List::deleteAll() {
    ZV_ListItem* p = m_head;
    while (p) {
        ZV_ListItem* next = p->m_next;
        delete p;
        p = next;
    }
    m_head = m_tail = nullptr;
    m_count = 0;
}

}  // namespace zenvary
