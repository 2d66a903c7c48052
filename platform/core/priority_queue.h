// xcPriorityQueue: a binary min-heap over a std::vector.
//
// The element at top() is one no other element is less than (by `Less`, std::less by
// default). Ties are settled by the heap's own moves, which the order of equal elements
// depends on, and which are fixed here so that a search built on the queue is reproducible:
//   push: the new element is placed last and rises while its parent is strictly greater;
//   pop:  the last element replaces the top and sinks while one of its children is strictly
//         less; of two children it sinks towards the right one only when the right child is
//         strictly less than the left.
// So an element rises only past strictly greater ones: a newcomer equal to the top never
// takes its place, and among equal elements the one already higher in the heap stays higher.
//
// Costs: push and pop O(log n) comparisons and moves, top O(1). The storage is the vector's.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

template <class T, class Less = std::less<T>>
class xcPriorityQueue {
public:
    xcPriorityQueue() = default;
    explicit xcPriorityQueue(Less less) : m_less(std::move(less)) {}

    bool empty() const { return m_heap.empty(); }
    std::size_t size() const { return m_heap.size(); }
    void reserve(std::size_t n) { m_heap.reserve(n); }
    void clear() { m_heap.clear(); }
    // Bytes held by the storage.
    std::size_t capacityBytes() const { return m_heap.capacity() * sizeof(T); }

    // The least element. The queue must not be empty.
    const T& top() const { return m_heap.front(); }

    void push(T value) {
        std::size_t i = m_heap.size();
        m_heap.push_back(std::move(value));
        T moving = std::move(m_heap[i]);
        while (i > 0) {
            const std::size_t parent = (i - 1) / 2;
            if (!m_less(moving, m_heap[parent])) break;  // rises only past strictly greater
            m_heap[i] = std::move(m_heap[parent]);
            i = parent;
        }
        m_heap[i] = std::move(moving);
    }

    // Removes the least element. The queue must not be empty.
    void pop() {
        T moving = std::move(m_heap.back());
        m_heap.pop_back();
        const std::size_t n = m_heap.size();
        if (n == 0) return;
        std::size_t i = 0;
        for (;;) {
            const std::size_t left = 2 * i + 1;
            if (left >= n) break;
            std::size_t child = left;
            if (left + 1 < n && m_less(m_heap[left + 1], m_heap[left])) child = left + 1;
            if (!m_less(m_heap[child], moving)) break;
            m_heap[i] = std::move(m_heap[child]);
            i = child;
        }
        m_heap[i] = std::move(moving);
    }

    // The elements in heap order (for inspection).
    const std::vector<T>& items() const { return m_heap; }

private:
    std::vector<T> m_heap;
    Less m_less;
};
