namespace Inventory;

// Reads and writes stock as lines of "sku;name;price;category;quantity[;best-before]".
public static class StockFile
{
    public sealed class FormatError(int line, string message) : Exception($"line {line}: {message}")
    {
        public int Line { get; } = line;
    }

    public static async Task<int> LoadAsync(Warehouse warehouse, TextReader reader, CancellationToken cancel = default)
    {
        int number = 0, loaded = 0;
        string? line;
        while ((line = await reader.ReadLineAsync(cancel)) is not null)
        {
            number++;
            if (line.Length == 0 || line.StartsWith('#'))
                continue;
            var (product, quantity) = Parse(line, number);
            warehouse.Receive(product, quantity);
            loaded++;
        }
        return loaded;
    }

    public static async Task<int> LoadFileAsync(Warehouse warehouse, string path)
    {
        using var reader = new StreamReader(path);
        try
        {
            return await LoadAsync(warehouse, reader);
        }
        catch (FormatError error)
        {
            throw new InvalidDataException($"{path}: {error.Message}", error);
        }
    }

    public static async Task SaveAsync(Warehouse warehouse, TextWriter writer)
    {
        var skus = warehouse.Journal.Select(c => c.Sku).Distinct(StringComparer.OrdinalIgnoreCase);
        foreach (var sku in skus)
        {
            var p = warehouse.Find(sku);
            string food = p is PerishableProduct f ? $";{f.BestBefore:yyyy-MM-dd}" : "";
            await writer.WriteLineAsync(
                $"{p.Sku};{p.Name};{p.PriceCents};{p.Category};{warehouse.Count(sku)}{food}");
        }
        await writer.FlushAsync();
    }

    internal static (Product, int) Parse(string line, int number)
    {
        string[] fields = line.Split(';');
        if (fields.Length is < 5 or > 6)
            throw new FormatError(number, $"{fields.Length} fields, expected 5 or 6");
        try
        {
            long price = long.Parse(fields[2]);
            var category = Enum.Parse<Category>(fields[3], ignoreCase: true);
            int quantity = int.Parse(fields[4]);
            Product product = fields.Length == 6
                ? new PerishableProduct(fields[0], fields[1], price, DateOnly.Parse(fields[5]))
                : new Product(fields[0], fields[1], price, category);
            return (product, quantity);
        }
        catch (Exception e) when (e is FormatException or ArgumentException or OverflowException)
        {
            throw new FormatError(number, e.Message);
        }
        finally
        {
            Parsed++;
        }
    }

    public static int Parsed { get; private set; }
}
