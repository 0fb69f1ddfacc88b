namespace Inventory;

public enum Category { Food, Tools, Books }

// An article that the warehouse keeps: its price is in cents, so that sums stay exact.
public class Product
{
    public Product(string sku, string name, long priceCents, Category category)
    {
        if (string.IsNullOrWhiteSpace(sku))
            throw new ArgumentException("a product needs a SKU", nameof(sku));
        Sku = sku;
        Name = name;
        PriceCents = priceCents;
        Category = category;
    }

    public string Sku { get; }
    public string Name { get; set; }
    public long PriceCents { get; set; }
    public Category Category { get; }
    public int ReorderLevel { get; set; } = 5;
    public List<string> Tags { get; } = new();

    private decimal discount_;
    public decimal Discount
    {
        get => discount_;
        set
        {
            if (value is < 0m or > 0.9m)
                throw new ArgumentOutOfRangeException(nameof(value), value, "a discount is between 0 and 0.9");
            discount_ = value;
        }
    }

    public virtual long UnitPriceCents(DateOnly day) =>
        (long)Math.Round(PriceCents * (1m - Discount), MidpointRounding.AwayFromZero);

    public decimal VatRate => Category switch
    {
        Category.Food => 0.07m,
        Category.Books =>
            0.05m,
        _ => 0.19m,
    };

    public override string ToString() => $"{Sku} {Name} ({PriceCents / 100m:0.00})";
}

// Food that loses value as its last day comes near and cannot be sold after it.
public sealed class PerishableProduct : Product
{
    public PerishableProduct(string sku, string name, long priceCents, DateOnly bestBefore)
        : base(sku, name, priceCents, Category.Food)
    {
        BestBefore = bestBefore;
    }

    public DateOnly BestBefore { get; }

    public override long UnitPriceCents(DateOnly day)
    {
        int daysLeft = BestBefore.DayNumber - day.DayNumber;
        long price = base.UnitPriceCents(day);
        switch (daysLeft)
        {
            case < 0:
                throw new InvalidOperationException($"{Sku} expired on {BestBefore:yyyy-MM-dd}");
            case 0:
                return price / 2;
            case <= 2:
                return price * 3 / 4;
            default:
                return price;
        }
    }
}
