// The catalogue connections that operations run with: as many as operations may run at once.
#ifndef ANADATA_SERVER_CATALOGUEPOOL_H
#define ANADATA_SERVER_CATALOGUEPOOL_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Catalogue.h"

class CataloguePool {
public:
    // Opens size connections to the catalogue at path. Throws ServiceError.
    CataloguePool(const std::string& path, int size) {
        for (int i = 0; i < size; ++i) {
            all_.push_back(std::make_unique<Catalogue>(path));
            free_.push_back(all_.back().get());
        }
    }

    // One connection, held by one operation until the lease ends.
    class Lease {
    public:
        explicit Lease(CataloguePool& pool) : pool_(pool) {
            std::unique_lock<std::mutex> lock(pool.mutex_);
            pool.returned_.wait(lock, [&] { return !pool.free_.empty(); });
            catalogue_ = pool.free_.back();
            pool.free_.pop_back();
        }
        ~Lease() {
            {
                std::lock_guard<std::mutex> lock(pool_.mutex_);
                pool_.free_.push_back(catalogue_);
            }
            pool_.returned_.notify_one();
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        Catalogue& operator*() const { return *catalogue_; }

    private:
        CataloguePool& pool_;
        Catalogue* catalogue_;
    };

private:
    std::mutex mutex_;
    std::condition_variable returned_;
    std::vector<std::unique_ptr<Catalogue>> all_;
    std::vector<Catalogue*> free_;
};

#endif
