// The store directory: catalogue, staging area for uploads and the committed data files.
#ifndef ANADATA_SERVER_STORE_H
#define ANADATA_SERVER_STORE_H

#include <string>
#include <system_error>
#include <vector>

class Catalogue;

class Store {
public:
    // Creates DIR, DIR/staging and DIR/data as needed, all of mode 0700. Throws ServiceError.
    explicit Store(const std::string& dir);

    const std::string& root() const { return root_; }
    std::string cataloguePath() const { return root_ + "/catalogue.sqlite"; }
    std::string stagingPath(const std::string& key) const { return root_ + "/staging/" + key + ".part"; }
    std::string absolute(const std::string& relativePath) const { return root_ + "/" + relativePath; }
    // The store-relative path of an absolute path inside the store, or "" when it is not one.
    std::string relative(const std::string& absolutePath) const;

    // Opens a data file for reading without following symbolic links on the way; -1 when there is no
    // regular file there.
    int openData(const std::string& relativePath) const;

    // Makes the staging file durable and moves it to a new directory under data/ as filename;
    // returns the new directory relative to the store. Throws ServiceError.
    std::string install(const std::string& stagingFile, const std::string& filename) const;
    // Removes a committed data file and its directory; missing files are ignored.
    void discard(const std::string& relativePath) const;

    // What the store holds that no open session or catalogue row accounts for, relative to the
    // store: staging files, and data files or directories the catalogue does not know (a directory
    // ends in '/'). Only meaningful while no server runs on the store.
    std::vector<std::string> strays(Catalogue& catalogue) const;

    // Removes one of the strays (a directory with what it holds); ec tells whether that failed.
    void removeStray(std::string stray, std::error_code& ec) const;

    // After a restart: removes the strays.
    void recover(Catalogue& catalogue) const;

private:
    std::string root_;
};

#endif
