using Inventory;
using Xunit;

namespace Inventory.Tests;

public class WarehouseTests
{
    static readonly DateOnly Today = new(2025, 3, 10);

    static Warehouse Stocked()
    {
        var w = new Warehouse();
        w.Receive(new Product("T-1", "Hammer", 1250, Category.Tools) { Tags = { "steel" } }, 8);
        w.Receive(new Product("B-1", "Atlas", 3000, Category.Books) { ReorderLevel = 1 }, 2);
        w.Receive(new PerishableProduct("F-1", "Milk", 100, Today.AddDays(1)), 10);
        w.Receive(new PerishableProduct("F-2", "Bread", 200, Today.AddDays(-1)), 3);
        return w;
    }

    [Fact]
    public void TakingStockReportsLowLevelsOnce()
    {
        var w = Stocked();
        var low = new List<string>();
        w.RanLow += p => low.Add(p.Sku);
        Assert.False(w.TryTake("t-1", 9));
        Assert.True(w.TryTake("t-1", 4));
        Assert.True(w.TryTake("T-1", 1));
        Assert.Equal(["T-1"], low);
        Assert.Equal(3, w.Count("T-1"));
        Assert.Equal(["F-2", "T-1"], w.BelowReorderLevel().Select(p => p.Sku));
        Assert.Equal(-1, w.Journal[^1].Quantity);
    }

    [Fact]
    public void ValueLeavesOutExpiredFoodAndWriteOffRemovesIt()
    {
        var w = Stocked();
        // Hammers 8 x 12.50, atlases 2 x 30.00, milk on its second-last day 10 x 0.75.
        Assert.Equal(8 * 1250 + 2 * 3000 + 10 * 75, w.ValueCents(Today));
        Assert.Equal(3, w.WriteOffExpired(Today));
        Assert.Equal(0, w.WriteOffExpired(Today));
        Assert.Equal(new Dictionary<Category, int> { [Category.Tools] = 8, [Category.Books] = 2, [Category.Food] = 10 },
                     w.CountsByCategory());
        Assert.Throws<InvalidOperationException>(() => w.Find("F-2").UnitPriceCents(Today));
    }

    [Theory]
    [InlineData(0.0, 1250)]
    [InlineData(0.2, 1000)]
    public void DiscountLowersThePrice(double discount, long cents)
    {
        var p = new Product("T-2", "Saw", 1250, Category.Tools) { Discount = (decimal)discount };
        Assert.Equal(cents, p.UnitPriceCents(Today));
        Assert.Equal(0.19m, p.VatRate);
        Assert.Throws<ArgumentOutOfRangeException>(() => p.Discount = 1m);
        Assert.Throws<ArgumentException>(() => new Product(" ", "Saw", 1, Category.Tools));
    }

    [Fact]
    public void ReportNamesEachProduct()
    {
        string[] lines = Stocked().Report().Split(Environment.NewLine);
        Assert.Equal(4, lines.Length);
        Assert.Equal("B-1          2 Atlas", lines[0]);
        Assert.Equal("F-2          3 Bread, best before 2025-03-09", lines[1]);
        Assert.Equal("T-1          8 Hammer [steel]", lines[2]);
    }
}
