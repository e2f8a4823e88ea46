// ZV_List: a doubly linked list of items it owns. An item type derives from
// ZV_ListItem and carries its own payload.
#pragma once
#include <cstdint>

namespace zenvary {

class ZV_ListItem {
public:
    ZV_ListItem() = default;
    virtual ~ZV_ListItem() = default;
    ZV_ListItem(const ZV_ListItem&) = delete;
    ZV_ListItem& operator=(const ZV_ListItem&) = delete;

    ZV_ListItem* next() const { return m_next; }
    ZV_ListItem* prev() const { return m_prev; }

private:
    friend class ZV_List;
    ZV_ListItem* m_prev = nullptr;
    ZV_ListItem* m_next = nullptr;
};

class ZV_List {
public:
    ZV_List() = default;
    virtual ~ZV_List() { deleteAll(); }
    ZV_List(const ZV_List&) = delete;
    ZV_List& operator=(const ZV_List&) = delete;

    ZV_ListItem* head() const { return m_head; }
    ZV_ListItem* tail() const { return m_tail; }
    uint32_t getCount() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }

    // The list takes ownership of the item.
    void append(ZV_ListItem* item);
    void prepend(ZV_ListItem* item);
    // Unlinks the item and hands it back to the caller.
    ZV_ListItem* unlink(ZV_ListItem* item);
    // Unlinks and deletes.
    void remove(ZV_ListItem* item) { delete unlink(item); }
    void deleteAll();

private:
    ZV_ListItem* m_head = nullptr;
    ZV_ListItem* m_tail = nullptr;
    uint32_t m_count = 0;
};

}  // namespace zenvary
