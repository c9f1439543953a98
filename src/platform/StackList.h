// Chains objects that stand on the stacks of threads.
#pragma once

namespace Platform {

// Listing takes no memory, so it cannot fail, and a list at namespace scope needs no destructor. An item
// derives from Link, and leaves before its end. The owner guards the list with a lock.
template <class Item>
class StackList {
public:
    class Link {
    public:
        Link() = default;
        Link(const Link&) = delete;
        Link& operator=(const Link&) = delete;

    private:
        friend class StackList;
        Item* previous_ = nullptr;
        Item* next_ = nullptr;
    };

    void add(Item& item) noexcept {
        Link& link = item;
        link.previous_ = nullptr;
        link.next_ = first_;
        if (first_)
            linkOf(*first_).previous_ = &item;
        first_ = &item;
    }
    void remove(Item& item) noexcept {
        const Link& link = item;
        (link.previous_ ? linkOf(*link.previous_).next_ : first_) = link.next_;
        if (link.next_)
            linkOf(*link.next_).previous_ = link.previous_;
    }

    bool empty() const noexcept { return !first_; }
    template <class Predicate>
    bool anyOf(Predicate&& matches) const {
        for (Item* item = first_; item; item = linkOf(*item).next_)
            if (matches(*item))
                return true;
        return false;
    }
    // The function may remove the item that it is given.
    template <class Function>
    void forEach(Function&& function) const {
        for (Item *item = first_, *next; item; item = next) {
            next = linkOf(*item).next_;
            function(*item);
        }
    }

private:
    static Link& linkOf(Item& item) noexcept { return item; }

    Item* first_ = nullptr;
};

}  // namespace Platform
