namespace Inventory;

public sealed record StockChange(string Sku, int Quantity, string Reason);

// The products on hand and how many of each; every change is kept in a journal.
public sealed class Warehouse
{
    private readonly Dictionary<string, Product> products_ = new(StringComparer.OrdinalIgnoreCase);
    private readonly Dictionary<string, int> counts_ = new(StringComparer.OrdinalIgnoreCase);
    private readonly List<StockChange> journal_ = [];

    public event Action<Product>? RanLow;

    public IReadOnlyList<StockChange> Journal => journal_;
    public int Count(string sku) => counts_.GetValueOrDefault(sku);
    public Product Find(string sku) =>
        products_.TryGetValue(sku, out var product) ? product : throw new KeyNotFoundException($"no product {sku}");

    public void Receive(Product product, int quantity)
    {
        ArgumentOutOfRangeException.ThrowIfNegativeOrZero(quantity);
        products_[product.Sku] = product;
        counts_[product.Sku] = Count(product.Sku) + quantity;
        journal_.Add(new StockChange(product.Sku, quantity, "received"));
    }

    // Takes quantity of sku off the shelf; false, and nothing taken, when there are fewer.
    public bool TryTake(string sku, int quantity, string reason = "sold")
    {
        int have = Count(sku);
        if (have < quantity)
            return false;
        counts_[sku] = have - quantity;
        journal_.Add(new StockChange(sku, -quantity, reason));
        var product = Find(sku);
        if (have - quantity <= product.ReorderLevel && have > product.ReorderLevel)
            RanLow?.Invoke(product);
        return true;
    }

    public IEnumerable<Product> BelowReorderLevel()
    {
        foreach (var product in products_.Values.OrderBy(p => p.Sku))
        {
            if (Count(product.Sku) <= product.ReorderLevel)
                yield return product;
        }
    }

    public long ValueCents(DateOnly day) =>
        products_.Values
            .Where(p => p is not PerishableProduct { } food || food.BestBefore >= day)
            .Sum(p => p.UnitPriceCents(day) * Count(p.Sku));

    public IReadOnlyDictionary<Category, int> CountsByCategory() =>
        products_.Values
            .GroupBy(p => p.Category)
            .ToDictionary(g => g.Key, g => g.Sum(p => Count(p.Sku)));

    // Writes off every perishable product past its day; the number of items written off.
    public int WriteOffExpired(DateOnly day)
    {
        int total = 0;
        foreach (var food in products_.Values.OfType<PerishableProduct>().ToList())
        {
            if (food.BestBefore >= day)
                continue;
            int have = Count(food.Sku);
            if (have == 0)
                continue;
            TryTake(food.Sku, have, "expired");
            total += have;
        }
        return total;
    }

    public string Report()
    {
        var lines = new List<string>();
        foreach (var product in products_.Values.OrderBy(p => p.Name))
        {
            lines.Add($"{product.Sku,-8} {Count(product.Sku),5} {Describe(product)}");
        }
        return string.Join(Environment.NewLine, lines);

        static string Describe(Product p) => p switch
        {
            PerishableProduct food => $"{food.Name}, best before {food.BestBefore:yyyy-MM-dd}",
            { Tags.Count: > 0 } => $"{p.Name} [{string.Join(", ", p.Tags)}]",
            _ => p.Name,
        };
    }
}
