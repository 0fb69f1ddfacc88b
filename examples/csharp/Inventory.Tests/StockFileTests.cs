using Inventory;
using Xunit;

namespace Inventory.Tests;

public class StockFileTests
{
    [Fact]
    public async Task SavedStockLoadsAgain()
    {
        const string text = "# sku;name;price;category;quantity[;best before]\n" +
                            "T-1;Hammer;1250;Tools;8\n\nF-1;Milk;100;Food;10;2025-03-11\n";
        var first = new Warehouse();
        Assert.Equal(2, await StockFile.LoadAsync(first, new StringReader(text)));
        first.TryTake("T-1", 3);
        var saved = new StringWriter();
        await StockFile.SaveAsync(first, saved);

        var second = new Warehouse();
        await StockFile.LoadAsync(second, new StringReader(saved.ToString()));
        Assert.Equal(5, second.Count("T-1"));
        Assert.Equal(new DateOnly(2025, 3, 11), Assert.IsType<PerishableProduct>(second.Find("F-1")).BestBefore);
        Assert.Equal("T-1 Hammer (12.50)", second.Find("T-1").ToString());
    }

    [Theory]
    [InlineData("T-1;Hammer;1250;Tools", "line 3: 4 fields, expected 5 or 6")]
    [InlineData("T-1;Hammer;12.50;Tools;8", "line 3: The input string '12.50' was not in a correct format.")]
    [InlineData("T-1;Hammer;1250;Toys;8", "line 3: Requested value 'Toys' was not found.")]
    public async Task BadLinesNameTheirNumber(string bad, string message)
    {
        var reader = new StringReader($"# stock\nT-2;Saw;900;Tools;1\n{bad}\n");
        var error = await Assert.ThrowsAsync<StockFile.FormatError>(() => StockFile.LoadAsync(new Warehouse(), reader));
        Assert.Equal(message, error.Message);
        Assert.Equal(3, error.Line);
    }
}
