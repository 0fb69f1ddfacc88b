// Shapes.cs: code for the coverage tests; "// @name" marks a line that they look up.
using System;

namespace Sample
{
    public static class Shapes
    {
        public static double Area(string kind, double size)
        {
            switch (kind) // @area.switch
            {
                case "square":
                    return size * size; // @area.square
                case "circle":
                    return Math.PI * size * size; // @area.circle
                default:
                    throw new ArgumentException("unknown shape " + kind); // @area.throw
            }
        }

        public static int Halvings(int x)
        {
            int steps = 0;
            while (x > 1) // @halve.while
            {
                x /= 2;
                steps++;
            }
            return steps;
        }

        public static void Fail() => throw new InvalidOperationException("from Fail"); // @fail

        public static int Never(int x) // @never.name
        {
            int y = x * 3; // @never.first
            return y - 1; // @never.last
        }

        public static string Where([System.Runtime.CompilerServices.CallerFilePath] string file = "",
                                   [System.Runtime.CompilerServices.CallerLineNumber] int line = 0) => file + ":" + line;

        public static string Here() => Where(); // @here
    }
}
