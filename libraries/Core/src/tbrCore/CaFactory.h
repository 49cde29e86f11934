#pragma once

#include <map>
#include <string>

/// Makes objects of one class derived from `Product`.
template <class Product>
class CaProductFactory
{
public:
    virtual ~CaProductFactory() = default;

    /// A new object that the caller owns.
    virtual Product* createInstance() = 0;
};

/// The factories for the classes derived from `Product`, by class name, in byte-wise order. It does not own them: a
/// factory that is entered must outlive the map. Use by one thread at a time.
template <class Product>
class CaFactory : public std::map<std::string, CaProductFactory<Product>*>
{
};
