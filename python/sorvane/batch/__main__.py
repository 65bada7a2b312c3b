import sys

from .arguments import main

if __name__ == "__main__":
    sys.exit(main())
